// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/Display.h>
#include <signal.h>

#include <cstdio>
#include <cstdlib>

#include "graphics/LocalBufferProducer.h"
#include "support/Test.h"
#include "support/TestPictures.h"

namespace oxa::test {

namespace {

using namespace android;
using host::DisplayEvent;

constexpr int kTolerance = 6;

// What a window shows.
struct Screenshot {
    Rgb at(int x, int y) const {
        const size_t pixel = (static_cast<size_t>(y) * width + x) * 3;
        const auto sample = [&](size_t i) { return static_cast<uint8_t>(pixels[pixel + i]); };
        return {sample(0), sample(1), sample(2)};
    }

    int width = 0;
    int height = 0;
    std::string pixels;  // RGB
};

// Runs until it is destroyed, or the test is killed.
class Program {
  public:
    explicit Program(const std::string& command)
        : mOutput(popen(
                  ("echo $$; exec setpriv --pdeathsig TERM " + command + " 2>/dev/null").c_str(),
                  "r")) {
        mProcess = atoi(nextLine().c_str());
    }
    ~Program() {
        if (mProcess > 0) kill(mProcess, SIGTERM);
        pclose(mOutput);
    }

    // Of its output; empty at the end.
    std::string nextLine() {
        char line[64] = "";
        if (fgets(line, sizeof(line), mOutput) == nullptr) return "";
        return std::string(line).substr(0, strcspn(line, "\n"));
    }

  private:
    FILE* const mOutput;
    pid_t mProcess;
};

// An X server without a screen (Xvfb) on a free display, with a window manager. While it lives,
// this process's DISPLAY names it.
class XServer {
  public:
    static constexpr int kWidth = 1024;
    static constexpr int kHeight = 768;

    XServer() {
        for (const std::string program : {"Xvfb", "openbox", "xdotool", "ffmpeg"}) {
            if (ProcessRunner({"which", program}).run().ok()) continue;
            mError = program + " is not installed";
            return;
        }
        const std::string screen = std::to_string(kWidth) + "x" + std::to_string(kHeight) + "x24";
        mServer = std::make_unique<Program>("Xvfb -displayfd 1 -nolisten tcp -screen 0 " + screen);
        // It writes its number when it can be used.
        mDisplay = ":" + mServer->nextLine();
        setenv("DISPLAY", mDisplay.c_str(), 1);
        // A window that appears while the manager starts may never be managed, and SDL waits for
        // ever for it: the manager is there when it runs its first command.
        mManager = std::make_unique<Program>("openbox --startup 'echo started'");
        std::string said;
        do {
            said = mManager->nextLine();
        } while (!said.empty() && said != "started");
        if (said.empty()) mError = "Xvfb or openbox does not start";
        EXPECT_EQ(said, "started");
    }
    ~XServer() { unsetenv("DISPLAY"); }

    // Empty, or what is missing.
    const std::string& error() const { return mError; }

    // Runs xdotool with these arguments; its output, without the newline.
    static std::string command(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "xdotool");
        std::string out = ProcessRunner(arguments).run().out;
        while (!out.empty() && out.back() == '\n')
            out.pop_back();
        return out;
    }

    // The X window with this title; empty when none appears.
    static std::string findWindow(const std::string& title) {
        std::string id;
        waitFor([&] {
            id = command({"search", "--onlyvisible", "--name", "^" + title + "$"});
            return !id.empty();
        });
        return id;
    }

    // Empty while the window is being changed.
    Screenshot grab(const std::string& window) const {
        const ProcessResult result =
                ProcessRunner({"ffmpeg", "-v", "error", "-nostdin", "-f", "x11grab", "-draw_mouse",
                               "0", "-window_id", window, "-i", mDisplay, "-frames:v", "1", "-f",
                               "image2pipe", "-c:v", "ppm", "-"})
                        .run();
        Screenshot shot;
        int headerSize = 0;
        sscanf(result.out.c_str(), "P6 %d %d 255%*1[\n]%n", &shot.width, &shot.height, &headerSize);
        shot.pixels = result.out.substr(headerSize);
        const size_t size = static_cast<size_t>(shot.width) * shot.height * 3;
        return headerSize > 0 && shot.pixels.size() == size ? shot : Screenshot();
    }

  private:
    std::string mError;
    std::string mDisplay;
    std::unique_ptr<Program> mServer;
    std::unique_ptr<Program> mManager;
};

struct Area {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

Rgb expectedAt(const Area& card, int x, int y) {
    if (x < card.x || y < card.y || x >= card.x + card.width || y >= card.y + card.height) {
        return {0, 0, 0};
    }
    return kCardColours[(y < card.y + card.height / 2 ? 0 : 2) +
                        (x < card.x + card.width / 2 ? 0 : 1)];
}

// How a window differs from one with a card in this part of it and black around: in the middles of
// the card's quarters, and just beside its edges. Empty when it does not.
std::string differenceOf(const Screenshot& screen, const Area& card) {
    constexpr int kBeside = 3;
    const auto points = [](int begin, int size) {
        return std::array<int, 4>{begin - kBeside, begin + size / 4, begin + size * 3 / 4,
                                  begin + size - 1 + kBeside};
    };
    std::string text;
    for (const int y : points(card.y, card.height)) {
        for (const int x : points(card.x, card.width)) {
            if (x < 0 || y < 0 || x >= screen.width || y >= screen.height) continue;
            const Rgb shown = screen.at(x, y);
            const Rgb expected = expectedAt(card, x, y);
            for (size_t i = 0; i < shown.size(); ++i) {
                if (std::abs(shown[i] - expected[i]) <= kTolerance) continue;
                text += testing::PrintToString(shown) + " instead of " +
                        testing::PrintToString(expected) + "; ";
            }
        }
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
        openWindow();
    }

    void openWindow(const CardOptions& card = {}, const PictureFormat& format = formatOf({})) {
        host::WindowOptions options;
        options.title = "window-test";
        options.onEvent = [this](DisplayEvent event) {
            ++(event == DisplayEvent::kClosed ? mClosed : mQuit);
        };
        std::string error;
        mDisplay = host::createWindowDisplay(options, &error);
        ASSERT_NE(mDisplay, nullptr) << error;
        mQueue = LocalBufferProducer::queueOf(mDisplay->producer());
        mQueue->setFormat(format);
        mProducer = producerOf(*mDisplay);
        ASSERT_TRUE(mProducer->queue(makeCard(card)));
        ASSERT_TRUE(waitFor([this] { return mDisplay->figures().shown == 1; }));
        mWindow = sServer->findWindow(options.title);
        ASSERT_NE(mWindow, "");
    }

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
        sServer->command({"windowactivate", "--sync", mWindow});
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

// In one window. A wrong matrix, range, plane order or pitch changes at least one quarter by far
// more than the tolerance.
TEST_F(WindowTest, showsTheColoursOfEveryKindOfPicture) {
    constexpr int k601 = AVCOL_SPC_SMPTE170M;
    constexpr int k709 = AVCOL_SPC_BT709;
    constexpr int kLimited = AVCOL_RANGE_MPEG;
    constexpr int kFull = AVCOL_RANGE_JPEG;
    const struct {
        const char* name;
        CardOptions card;         // without its width
        bool tellColours = true;  // else the surface is told nothing of matrix and range
    } kCases[] = {
            {"Planar601", {0, 240, AV_PIX_FMT_YUV420P, k601, kLimited}},
            {"Planar709", {0, 240, AV_PIX_FMT_YUV420P, k709, kLimited}},
            {"Planar601Full", {0, 240, AV_PIX_FMT_YUV420P, k601, kFull}},
            {"Planar709Full", {0, 240, AV_PIX_FMT_YUV420P, k709, kFull}},
            {"SemiPlanar601", {0, 240, AV_PIX_FMT_NV12, k601, kLimited}},
            {"SemiPlanar709", {0, 240, AV_PIX_FMT_NV12, k709, kLimited}},
            {"Packed422", {0, 240, AV_PIX_FMT_YUYV422}},
            {"Packed422Swapped", {0, 240, AV_PIX_FMT_UYVY422}},
            {"Rgb", {0, 240, AV_PIX_FMT_RGB24, k601, kFull}},
            {"Bgr", {0, 240, AV_PIX_FMT_BGR24, k601, kFull}},
            {"Bgrx", {0, 240, AV_PIX_FMT_BGR0, k601, kFull}},
            {"Rgbx", {0, 240, AV_PIX_FMT_RGB0, k601, kFull}},
            {"TenBits709", {0, 240, AV_PIX_FMT_YUV420P10, k709, kLimited}},
            {"Planar444Bt2020", {0, 240, AV_PIX_FMT_YUV444P, AVCOL_SPC_BT2020_NCL, kLimited}},
            {"PlanarFcc", {0, 240, AV_PIX_FMT_YUV420P, AVCOL_SPC_FCC, kLimited}},
            {"Planar240m", {0, 240, AV_PIX_FMT_YUV420P, AVCOL_SPC_SMPTE240M, kLimited}},
            {"Planar2020Full", {0, 240, AV_PIX_FMT_YUV420P, AVCOL_SPC_BT2020_NCL, kFull}},
            {"PlanarUpsideDown", {0, 240, AV_PIX_FMT_YUV420P, k601, kLimited, true}},
            {"SemiPlanarUpsideDown", {0, 240, AV_PIX_FMT_NV12, k601, kLimited, true}},
            {"UntoldSmall", {0, 240, AV_PIX_FMT_YUV420P, k601, kLimited}, false},
            {"UntoldTallestSmall", {0, 576, AV_PIX_FMT_YUV420P, k601, kLimited}, false},
            {"UntoldLarge", {0, 578, AV_PIX_FMT_YUV420P, k709, kLimited}, false},
    };
    // Each picture is narrower than the one before, so that the screen shows which one it is.
    int shownWidth = 304;
    for (const auto& colour : kCases) {
        shownWidth -= 8;
        CardOptions card = colour.card;
        card.width = shownWidth * card.height / 240;
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

// Taller or wider than the picture, the window keeps the picture's shape between black bars.
TEST_F(WindowTest, putsBlackBarsAroundThePicture) {
    ASSERT_TRUE(waitForWholeWindow());
    sServer->command({"windowsize", mWindow, "600", "240"});
    EXPECT_TRUE(waitForCard(600, 240, {140, 0, 320, 240}));
    sServer->command({"windowsize", mWindow, "320", "440"});
    EXPECT_TRUE(waitForCard(320, 440, {0, 100, 320, 240}));
    EXPECT_EQ(mDisplay->figures().shown, 1U);
}

// Samples that are not square make it wider, or taller. It takes no more than nine tenths of the
// screen.
TEST_F(WindowTest, opensInTheSizeOfItsFirstPicture) {
    const struct {
        int width, height, aspectNumerator, aspectDenominator, windowWidth, windowHeight;
    } kCases[] = {{320, 240, 2, 1, 640, 240},
                  {320, 240, 1, 2, 320, 480},
                  {1920, 1080, 1, 1, XServer::kWidth * 9 / 10, XServer::kWidth * 9 / 10 * 9 / 16}};
    for (const auto& size : kCases) {
        const CardOptions card = {size.width, size.height};
        PictureFormat format = formatOf(card);
        format.aspectNumerator = size.aspectNumerator;
        format.aspectDenominator = size.aspectDenominator;
        openWindow(card, format);
        if (HasFatalFailure()) return;
        EXPECT_TRUE(waitForWholeWindow(size.windowWidth, size.windowHeight));
    }
}

TEST_F(WindowTest, keysQuitAndChangeToFullScreenAndBack) {
    press("q");
    EXPECT_TRUE(waitFor([this] { return mQuit > 0; }));
    EXPECT_TRUE(waitForWholeWindow()) << "it is the client that closes it";
    EXPECT_EQ(mQuit, 1);
    EXPECT_EQ(mClosed, 0);
    for (const char* leave : {"f", "Escape"}) {
        press("f");
        EXPECT_TRUE(waitForWholeWindow(XServer::kWidth, XServer::kHeight));
        press(leave);
        EXPECT_TRUE(waitForWholeWindow());
    }
}

// The window goes at once, the client is told, and whoever renders goes on without waiting.
TEST_F(WindowTest, closesForTheUser) {
    // It is the manager that takes this key, and now and then one is lost on the way to it.
    ASSERT_TRUE(waitFor([this] {
        press("alt+F4");
        return waitFor([this] { return mClosed > 0; }, std::chrono::seconds(5));
    }));
    EXPECT_EQ(mClosed, 1);
    EXPECT_TRUE(waitFor([] {
        return sServer->command({"search", "--onlyvisible", "--name", "window-test"}).empty();
    }));
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(mProducer->queue(makeCard()));
    EXPECT_EQ(mDisplay->figures().shown, 1U);
    EXPECT_EQ(mProducer->freePlaces(), PictureQueue::kDefaultPlaces);
}

TEST_F(WindowTest, showsSeveralAtATime) {
    host::WindowOptions options;
    options.title = "second-window";
    auto display = host::createWindowDisplay(options, nullptr);
    ASSERT_NE(display, nullptr);
    const auto producer = producerOf(*display);
    const sp<Picture> picture = makeCard();
    for (int n = 0; n < 25; ++n) {
        ASSERT_TRUE(mProducer->queue(picture));
        ASSERT_TRUE(producer->queue(picture));
    }
    const auto waitForCount = [](const host::Display& display, uint64_t count) {
        return waitFor([&] {
            const host::DisplayFigures figures = display.figures();
            return figures.shown > 0 && figures.shown + figures.replaced == count;
        });
    };
    EXPECT_NE(sServer->findWindow(options.title), "");
    EXPECT_TRUE(waitForCount(*display, 25));
    // One that goes takes its window with it and leaves the other.
    display.reset();
    EXPECT_EQ(sServer->command({"search", "--onlyvisible", "--name", options.title}), "");
    EXPECT_EQ(producer->freePlaces(), PictureQueue::kDefaultPlaces);
    ASSERT_TRUE(mProducer->queue(picture));
    EXPECT_TRUE(waitForCount(*mDisplay, 1 + 25 + 1));
    EXPECT_TRUE(waitForWholeWindow());
}

}  // namespace
}  // namespace oxa::test
