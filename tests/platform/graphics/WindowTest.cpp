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

    void openWindow(const CardOptions& card, const PictureFormat& format, bool fullScreen = false) {
        host::WindowOptions options;
        options.title = "window-test";
        options.fullScreen = fullScreen;
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
    CardOptions card;
    bool tellColours = true;  // else the surface is told nothing of matrix and range
};

ColourCase colourCase(const char* name, AVPixelFormat format, int matrix, int range) {
    ColourCase result;
    result.name = name;
    result.card.pixelFormat = format;
    result.card.matrix = matrix;
    result.card.range = range;
    return result;
}

ColourCase upsideDown(const char* name, AVPixelFormat format) {
    ColourCase result = colourCase(name, format, AVCOL_SPC_SMPTE170M, AVCOL_RANGE_MPEG);
    result.card.upsideDownInMemory = true;
    return result;
}

ColourCase untold(const char* name, int width, int height, int matrix) {
    ColourCase result = colourCase(name, AV_PIX_FMT_YUV420P, matrix, AVCOL_RANGE_MPEG);
    result.card.width = width;
    result.card.height = height;
    result.tellColours = false;
    return result;
}

class WindowColourTest : public WindowTest, public testing::WithParamInterface<ColourCase> {};

// A wrong matrix, range, plane order or pitch changes at least one quarter by far more than the
// tolerance.
TEST_P(WindowColourTest, AreThoseOfTheCard) {
    PictureFormat format = formatOf(GetParam().card);
    if (!GetParam().tellColours) {
        format.matrix = AVCOL_SPC_UNSPECIFIED;
        format.range = AVCOL_RANGE_UNSPECIFIED;
    }
    openWindow(GetParam().card, format);
    if (HasFatalFailure()) return;
    EXPECT_TRUE(waitForWholeWindow(GetParam().card.width, GetParam().card.height));
}

constexpr int k601 = AVCOL_SPC_SMPTE170M;
constexpr int k709 = AVCOL_SPC_BT709;
constexpr int kLimited = AVCOL_RANGE_MPEG;
constexpr int kFull = AVCOL_RANGE_JPEG;

INSTANTIATE_TEST_SUITE_P(
        , WindowColourTest,
        testing::Values(colourCase("Planar601", AV_PIX_FMT_YUV420P, k601, kLimited),
                        colourCase("Planar709", AV_PIX_FMT_YUV420P, k709, kLimited),
                        colourCase("Planar601Full", AV_PIX_FMT_YUV420P, k601, kFull),
                        colourCase("Planar709Full", AV_PIX_FMT_YUV420P, k709, kFull),
                        colourCase("SemiPlanar601", AV_PIX_FMT_NV12, k601, kLimited),
                        colourCase("SemiPlanar709", AV_PIX_FMT_NV12, k709, kLimited),
                        colourCase("Packed422", AV_PIX_FMT_YUYV422, k601, kLimited),
                        colourCase("Packed422Swapped", AV_PIX_FMT_UYVY422, k601, kLimited),
                        colourCase("Rgb", AV_PIX_FMT_RGB24, k601, kFull),
                        colourCase("Bgr", AV_PIX_FMT_BGR24, k601, kFull),
                        colourCase("Bgrx", AV_PIX_FMT_BGR0, k601, kFull),
                        colourCase("Rgbx", AV_PIX_FMT_RGB0, k601, kFull),
                        colourCase("TenBits709", AV_PIX_FMT_YUV420P10, k709, kLimited),
                        colourCase("Planar422", AV_PIX_FMT_YUV422P, k601, kLimited),
                        colourCase("Planar444Bt2020", AV_PIX_FMT_YUV444P, AVCOL_SPC_BT2020_NCL,
                                   kLimited),
                        upsideDown("PlanarUpsideDown", AV_PIX_FMT_YUV420P),
                        upsideDown("SemiPlanarUpsideDown", AV_PIX_FMT_NV12),
                        untold("UntoldSmall", 320, 240, k601),
                        untold("UntoldLarge", 784, 590, k709)),
        [](const auto& info) { return info.param.name; });

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

// A stream that changes its size goes on in the same window.
TEST_F(WindowTest, FollowsAChangeOfThePictureSize) {
    openWindow();
    if (HasFatalFailure()) return;
    CardOptions narrow;
    narrow.width = 120;
    mQueue->setFormat(formatOf(narrow));
    ASSERT_TRUE(mProducer->queue(makeCard(narrow)));
    EXPECT_TRUE(waitForCard(320, 240, {100, 0, 120, 240}));
}

// ---- Keys and closing

TEST_F(WindowTest, ReportsTheQuitKeyAndStays) {
    openWindow();
    if (HasFatalFailure()) return;
    press("q");
    EXPECT_TRUE(waitFor([this] { return mQuit > 0; }));
    EXPECT_TRUE(waitForWholeWindow());
    EXPECT_EQ(1, mQuit);
    EXPECT_EQ(0, mClosed);
}

TEST_F(WindowTest, ChangesToFullScreenAndBack) {
    if (!sServer->hasWindowManager()) GTEST_SKIP() << "openbox is not installed";
    openWindow();
    if (HasFatalFailure()) return;
    constexpr int kWidth = XServer::kWidth;
    constexpr int kHeight = XServer::kHeight;
    for (const char* leave : {"f", "Escape"}) {
        press("f");
        EXPECT_TRUE(waitForWholeWindow(kWidth, kHeight));
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

TEST_F(WindowTest, DisappearsWithItsDisplay) {
    openWindow();
    if (HasFatalFailure()) return;
    mDisplay.reset();
    EXPECT_EQ("", sServer->command({"search", "--onlyvisible", "--name", "window-test"}));
    EXPECT_EQ(PictureQueue::kDefaultPlaces, mProducer->freePlaces());
}

// ---- Several

TEST_F(WindowTest, ShowsEightAtATime) {
    constexpr int kWindows = 8;
    constexpr int kPictures = 25;
    std::vector<std::unique_ptr<host::Display>> displays;
    std::vector<std::unique_ptr<CardProducer>> producers;
    CardOptions card;
    const sp<Picture> picture = makeCard(card);
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
    for (int i = 0; i < kWindows; ++i) {
        EXPECT_NE("", sServer->findWindow("many-" + std::to_string(i)));
        EXPECT_TRUE(waitFor([&] {
            const host::DisplayFigures figures = displays[i]->figures();
            return figures.shown > 0 && figures.shown + figures.replaced == kPictures;
        }));
        EXPECT_EQ(0U, displays[i]->figures().failed);
        EXPECT_EQ(PictureQueue::kDefaultPlaces, producers[i]->freePlaces());
    }
    // One that goes leaves the others.
    displays.erase(displays.begin() + 3);
    ASSERT_TRUE(producers[4]->queue(picture));
    EXPECT_TRUE(waitFor([&] {
        const host::DisplayFigures figures = displays[3]->figures();
        return figures.shown + figures.replaced == kPictures + 1;
    }));
}

}  // namespace
}  // namespace oxa::test
