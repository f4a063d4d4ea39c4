// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <oxa/host/Display.h>

#include <atomic>
#include <cstdlib>
#include <ostream>

#include "platform/graphics/TestPictures.h"
#include "platform/graphics/XServer.h"
#include "support/Deadline.h"

namespace oxa::test {

void PrintTo(const Rgb& colour, std::ostream* out) {
    *out << "rgb(" << colour.red << ", " << colour.green << ", " << colour.blue << ")";
}

namespace {

using namespace android;
using host::DisplayEvent;

constexpr Rgb kBlack = {0, 0, 0};
constexpr int kTolerance = 6;

bool isNear(const Rgb& a, const Rgb& b) {
    return std::abs(a.red - b.red) <= kTolerance && std::abs(a.green - b.green) <= kTolerance &&
           std::abs(a.blue - b.blue) <= kTolerance;
}

void compareAt(const Screenshot& screen, int x, int y, const Rgb& expected, std::string* text) {
    const Rgb shown = screen.at(x, y);
    if (isNear(shown, expected)) return;
    *text += "at " + std::to_string(x) + "," + std::to_string(y) + " " +
             testing::PrintToString(shown) + " instead of " + testing::PrintToString(expected) +
             "; ";
}

struct Area {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

// How a window differs from one with a card in this part of it: in the middles of the card's
// quarters, and just beside its edges where there is a bar. Empty when it does not.
std::string differenceOf(const Screenshot& screen, const Area& card) {
    constexpr int kBeside = 3;
    std::string text;
    for (int i = 0; i < 4; ++i) {
        compareAt(screen, card.x + card.width * (i % 2 == 0 ? 1 : 3) / 4,
                  card.y + card.height * (i < 2 ? 1 : 3) / 4, kCardColours[i], &text);
    }
    if (card.x > kBeside) {
        const int y = card.y + card.height / 4;
        compareAt(screen, card.x - kBeside, y, kBlack, &text);
        compareAt(screen, card.x + card.width - 1 + kBeside, y, kBlack, &text);
    }
    if (card.y > kBeside) {
        const int x = card.x + card.width / 4;
        compareAt(screen, x, card.y - kBeside, kBlack, &text);
        compareAt(screen, x, card.y + card.height - 1 + kBeside, kBlack, &text);
    }
    return text;
}

// One X server for all tests here; each test makes its windows.
class WindowTest : public testing::Test {
  protected:
    static void SetUpTestSuite() { sServer = new XServer; }
    static void TearDownTestSuite() {
        delete sServer;
        sServer = nullptr;
    }

    void SetUp() override {
        if (!sServer->error().empty()) GTEST_SKIP() << sServer->error();
        if (!XServer::has("xdotool")) GTEST_SKIP() << "xdotool is not installed";
        if (!XServer::has("ffmpeg")) GTEST_SKIP() << "ffmpeg is not installed";
    }

    void openWindow(const CardOptions& card, const PictureFormat& format) {
        host::WindowOptions options;
        options.title = "window-test";
        options.onEvent = [this](DisplayEvent event) {
            ++(event == DisplayEvent::kClosed ? mClosed : mQuit);
        };
        std::string error;
        mDisplay = host::createWindowDisplay(options, &error);
        ASSERT_NE(nullptr, mDisplay) << error;
        mQueue = mDisplay->producer()->pictureQueue();
        mProducer = std::make_unique<CardProducer>(mQueue);
        mProducer->connect();
        mQueue->setFormat(format);
        ASSERT_TRUE(mProducer->queue(makeCard(card)));
        ASSERT_TRUE(waitFor([this] { return mDisplay->figures().shown == 1; }));
        mWindow = sServer->findWindow(options.title);
        ASSERT_NE("", mWindow);
    }

    void openWindow(const CardOptions& card = {}) { openWindow(card, formatOf(card)); }

    // The window gets this size, the picture fills this part of it, and what is left is black.
    testing::AssertionResult waitForCard(int width, int height, const Area& card) const {
        std::string difference;
        const bool shown = waitFor([&] {
            const Screenshot screen = sServer->grab(mWindow);
            difference = differenceOf(screen, card);
            if (screen.width == width && screen.height == height && difference.empty()) return true;
            difference += std::to_string(screen.width) + "x" + std::to_string(screen.height);
            return false;
        });
        return shown ? testing::AssertionSuccess() : testing::AssertionFailure() << difference;
    }

    testing::AssertionResult waitForWholeWindow(int width = 320, int height = 240) const {
        return waitForCard(width, height, {0, 0, width, height});
    }

    void press(const char* key) const {
        const char* focus = sServer->hasWindowManager() ? "windowactivate" : "windowfocus";
        sServer->command({focus, "--sync", mWindow});
        sServer->command({"key", key});
    }

    static XServer* sServer;
    std::unique_ptr<host::Display> mDisplay;
    sp<PictureQueue> mQueue;
    std::unique_ptr<CardProducer> mProducer;
    std::string mWindow;
    std::atomic<int> mClosed{0};
    std::atomic<int> mQuit{0};
};

XServer* WindowTest::sServer = nullptr;

// ---- Colours

struct ColourCase {
    const char* name;
    AVPixelFormat pixelFormat;
    int matrix = AVCOL_SPC_SMPTE170M;
    int range = AVCOL_RANGE_MPEG;
    bool upsideDownInMemory = false;
    bool tellColours = true;  // else the surface is told nothing of matrix and range
    int height = 240;
};

// In one window. A wrong matrix, range, plane order or pitch changes at least one quarter by far
// more than the tolerance.
TEST_F(WindowTest, ShowsTheColoursOfEveryKindOfPicture) {
    constexpr int k601 = AVCOL_SPC_SMPTE170M;
    constexpr int k709 = AVCOL_SPC_BT709;
    constexpr int kLimited = AVCOL_RANGE_MPEG;
    constexpr int kFull = AVCOL_RANGE_JPEG;
    constexpr ColourCase kCases[] = {
            {"Planar601", AV_PIX_FMT_YUV420P, k601, kLimited},
            {"Planar709", AV_PIX_FMT_YUV420P, k709, kLimited},
            {"Planar601Full", AV_PIX_FMT_YUV420P, k601, kFull},
            {"Planar709Full", AV_PIX_FMT_YUV420P, k709, kFull},
            {"SemiPlanar601", AV_PIX_FMT_NV12, k601, kLimited},
            {"SemiPlanar709", AV_PIX_FMT_NV12, k709, kLimited},
            {"Packed422", AV_PIX_FMT_YUYV422},
            {"Packed422Swapped", AV_PIX_FMT_UYVY422},
            {"Rgb", AV_PIX_FMT_RGB24, k601, kFull},
            {"Bgr", AV_PIX_FMT_BGR24, k601, kFull},
            {"Bgrx", AV_PIX_FMT_BGR0, k601, kFull},
            {"Rgbx", AV_PIX_FMT_RGB0, k601, kFull},
            {"TenBits709", AV_PIX_FMT_YUV420P10, k709, kLimited},
            {"Planar444Bt2020", AV_PIX_FMT_YUV444P, AVCOL_SPC_BT2020_NCL, kLimited},
            {"PlanarUpsideDown", AV_PIX_FMT_YUV420P, k601, kLimited, true},
            {"SemiPlanarUpsideDown", AV_PIX_FMT_NV12, k601, kLimited, true},
            {"UntoldSmall", AV_PIX_FMT_YUV420P, k601, kLimited, false, false},
            {"UntoldLarge", AV_PIX_FMT_YUV420P, k709, kLimited, false, false, 600},
    };
    openWindow();
    if (HasFatalFailure()) return;
    // Each picture is narrower than the one before, so that the screen shows which one it is.
    int shownWidth = 304;
    for (const ColourCase& colour : kCases) {
        shownWidth -= 8;
        CardOptions card;
        card.width = shownWidth * colour.height / 240;
        card.height = colour.height;
        card.pixelFormat = colour.pixelFormat;
        card.matrix = colour.matrix;
        card.range = colour.range;
        card.upsideDownInMemory = colour.upsideDownInMemory;
        PictureFormat format = formatOf(card);
        if (!colour.tellColours) {
            format.matrix = AVCOL_SPC_UNSPECIFIED;
            format.range = AVCOL_RANGE_UNSPECIFIED;
        }
        mQueue->setFormat(format);
        ASSERT_TRUE(mProducer->queue(makeCard(card)));
        ASSERT_TRUE(waitForCard(320, 240, {(320 - shownWidth) / 2, 0, shownWidth, 240}))
                << colour.name;
    }
}

// ---- Size and shape

// Taller or wider than the picture, the window keeps the picture's shape between black bars.
TEST_F(WindowTest, PutsBlackBarsAroundThePicture) {
    openWindow();
    if (HasFatalFailure()) return;
    ASSERT_TRUE(waitForWholeWindow());
    sServer->command({"windowsize", mWindow, "600", "240"});
    EXPECT_TRUE(waitForCard(600, 240, {140, 0, 320, 240}));
    sServer->command({"windowsize", mWindow, "320", "440"});
    EXPECT_TRUE(waitForCard(320, 440, {0, 100, 320, 240}));
    EXPECT_EQ(1U, mDisplay->figures().shown);
}

// Samples that are not square make the window wider, or taller.
TEST_F(WindowTest, TakesSampleAspectRatioIntoAccount) {
    for (const bool wide : {true, false}) {
        CardOptions card;
        PictureFormat format = formatOf(card);
        format.aspectNumerator = wide ? 2 : 1;
        format.aspectDenominator = wide ? 1 : 2;
        openWindow(card, format);
        if (HasFatalFailure()) return;
        EXPECT_TRUE(waitForWholeWindow(wide ? 640 : 320, wide ? 240 : 480));
    }
}

TEST_F(WindowTest, FitsALargePictureOntoTheScreen) {
    CardOptions card;
    card.width = 1920;
    card.height = 1080;
    openWindow(card);
    if (HasFatalFailure()) return;
    Screenshot screen;
    ASSERT_TRUE(waitFor([&] { return (screen = sServer->grab(mWindow)).width > 0; }));
    EXPECT_LE(screen.width, XServer::kWidth);
    EXPECT_LE(screen.height, XServer::kHeight);
    EXPECT_NEAR(1920.0 / 1080, static_cast<double>(screen.width) / screen.height, 0.02);
}

// ---- Keys and closing

TEST_F(WindowTest, KeysQuitAndChangeToFullScreenAndBack) {
    openWindow();
    if (HasFatalFailure()) return;
    press("q");
    EXPECT_TRUE(waitFor([this] { return mQuit > 0; }));
    EXPECT_TRUE(waitForWholeWindow()) << "it is the client that closes it";
    EXPECT_EQ(1, mQuit);
    EXPECT_EQ(0, mClosed);
    if (!sServer->hasWindowManager()) GTEST_SKIP() << "openbox is not installed";
    for (const char* leave : {"f", "Escape"}) {
        press("f");
        EXPECT_TRUE(waitForWholeWindow(XServer::kWidth, XServer::kHeight));
        press(leave);
        EXPECT_TRUE(waitForWholeWindow());
    }
}

// The window goes at once, the client is told, and whoever renders goes on without waiting.
TEST_F(WindowTest, ClosesForTheUser) {
    if (!sServer->hasWindowManager()) GTEST_SKIP() << "openbox is not installed";
    openWindow();
    if (HasFatalFailure()) return;
    press("alt+F4");
    ASSERT_TRUE(waitFor([this] { return mClosed > 0; }));
    EXPECT_EQ(1, mClosed);
    EXPECT_EQ("", sServer->command({"search", "--onlyvisible", "--name", "window-test"}));
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(mProducer->queue(makeCard()));
    EXPECT_EQ(1U, mDisplay->figures().shown);
    EXPECT_EQ(PictureQueue::kDefaultPlaces, mProducer->freePlaces());
}

TEST_F(WindowTest, ShowsSeveralAtATime) {
    constexpr int kWindows = 4;
    constexpr int kPictures = 25;
    std::vector<std::unique_ptr<host::Display>> displays;
    std::vector<std::unique_ptr<CardProducer>> producers;
    const sp<Picture> picture = makeCard();
    for (int i = 0; i < kWindows; ++i) {
        host::WindowOptions options;
        options.title = "many-" + std::to_string(i);
        displays.push_back(host::createWindowDisplay(options, nullptr));
        ASSERT_NE(nullptr, displays.back());
        producers.push_back(
                std::make_unique<CardProducer>(displays.back()->producer()->pictureQueue()));
        producers.back()->connect();
    }
    for (int n = 0; n < kPictures; ++n) {
        for (const std::unique_ptr<CardProducer>& producer : producers)
            ASSERT_TRUE(producer->queue(picture));
    }
    const auto waitForCount = [&displays](int display, uint64_t count) {
        return waitFor([&] {
            const host::DisplayFigures figures = displays[display]->figures();
            return figures.shown > 0 && figures.shown + figures.replaced == count;
        });
    };
    for (int i = 0; i < kWindows; ++i) {
        EXPECT_NE("", sServer->findWindow("many-" + std::to_string(i)));
        EXPECT_TRUE(waitForCount(i, kPictures));
        EXPECT_EQ(0U, displays[i]->figures().failed);
    }
    // One that goes takes its window with it and leaves the others.
    displays[1].reset();
    EXPECT_EQ("", sServer->command({"search", "--onlyvisible", "--name", "many-1"}));
    EXPECT_EQ(PictureQueue::kDefaultPlaces, producers[1]->freePlaces());
    ASSERT_TRUE(producers[2]->queue(picture));
    EXPECT_TRUE(waitForCount(2, kPictures + 1));
}

}  // namespace
}  // namespace oxa::test
