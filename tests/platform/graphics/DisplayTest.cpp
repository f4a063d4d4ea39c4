// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <oxa/host/Display.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <thread>

#include "platform/codec/FaultLog.h"
#include "platform/graphics/TestPictures.h"
#include "support/Deadline.h"
#include "support/TempDir.h"

namespace oxa::test {
namespace {

using namespace android;
using host::Display;
using host::DisplayFigures;

// SDL's driver without a screen, for what needs a window but not its looks.
class HeadlessVideo {
  public:
    HeadlessVideo() { setenv("SDL_VIDEODRIVER", "dummy", 1); }
    ~HeadlessVideo() { unsetenv("SDL_VIDEODRIVER"); }
};

std::unique_ptr<Display> createWindow() {
    return host::createWindowDisplay({}, nullptr);
}

std::unique_ptr<Display> createPng() {
    static const TempDir directory;
    return host::createPngDisplay(directory.path());
}

struct DisplayCase {
    const char* name;
    std::function<std::unique_ptr<Display>()> create;
};

class EveryDisplayTest : public testing::TestWithParam<DisplayCase> {
  protected:
    void SetUp() override {
        mDisplay = GetParam().create();
        ASSERT_NE(nullptr, mDisplay);
        mQueue = mDisplay->producer()->pictureQueue();
        mProducer = std::make_unique<CardProducer>(mQueue);
        mProducer->connect();
        mQueue->setFormat(formatOf({}));
    }

    uint64_t counted() const {
        const DisplayFigures figures = mDisplay->figures();
        return figures.shown + figures.replaced;
    }

    const HeadlessVideo mHeadless;
    std::unique_ptr<Display> mDisplay;
    sp<PictureQueue> mQueue;
    std::unique_ptr<CardProducer> mProducer;
};

// Each picture is counted once, and each place comes back, whatever the order of what is queued,
// given back and disconnected.
TEST_P(EveryDisplayTest, GivesEveryPlaceBack) {
    constexpr uint64_t kPictures = 120;
    const sp<Picture> picture = makeCard();
    for (uint64_t i = 0; i < kPictures; ++i) {
        ASSERT_TRUE(mProducer->queue(picture, static_cast<int64_t>(i)));
        if (i % 7 == 0 && mQueue->tryReserve()) mQueue->cancelReservation();
        if (i % 40 == 20) {
            mProducer->disconnect();
            mProducer->connect();
        }
    }
    EXPECT_TRUE(waitFor([&] { return counted() == kPictures; }));
    EXPECT_EQ(0U, mDisplay->figures().failed);
    EXPECT_EQ(PictureQueue::kDefaultPlaces, mProducer->freePlaces());
    // The display has no reference left but perhaps that of the last turn's locals.
    mDisplay.reset();
    EXPECT_EQ(1, picture->getStrongCount());
}

// The producer's thread neither waits nor crashes, and has all places when the display is gone.
TEST_P(EveryDisplayTest, CanGoWhileSomebodyRenders) {
    const sp<Picture> picture = makeCard();
    std::atomic<bool> running{true};
    std::atomic<uint64_t> queued{0};
    std::thread renderer([&] {
        while (running) {
            if (!mQueue->tryReserve()) continue;
            mQueue->queue(picture, 0);
            ++queued;
        }
    });
    EXPECT_TRUE(waitFor([&] { return counted() > 5; }));
    mDisplay.reset();
    const uint64_t queuedBefore = queued;
    EXPECT_TRUE(waitFor([&] { return queued > queuedBefore + 100; }));
    running = false;
    renderer.join();
    EXPECT_EQ(PictureQueue::kDefaultPlaces, mProducer->freePlaces());
}

// A producer may answer a free place with its next picture, on the same thread.
TEST_P(EveryDisplayTest, TakesPicturesThatAreQueuedWhenAPlaceGetsFree) {
    class Chain : public PictureQueue::ProducerListener {
      public:
        Chain(const sp<PictureQueue>& queue, const sp<Picture>& picture)
            : mQueue(queue), mPicture(picture) {}
        void onPlaceFree() override {
            if (mLeft > 0 && mQueue->tryReserve()) {
                --mLeft;
                mQueue->queue(mPicture, 0);
            }
        }
        void onDrainRequested() override {}
        std::atomic<int> mLeft{50};

      private:
        const sp<PictureQueue> mQueue;
        const sp<Picture> mPicture;
    };
    mProducer->disconnect();
    const sp<Chain> chain = new Chain(mQueue, makeCard());
    ASSERT_EQ(OK, mQueue->connect(chain));
    // On another thread, so that a lock which is taken twice is a failure and not a hang.
    std::atomic<bool> returned{false};
    std::thread starter([&] {
        chain->onPlaceFree();
        returned = true;
    });
    const bool done = waitFor([&] { return returned && counted() >= 50; });
    EXPECT_TRUE(done) << counted() << " pictures, " << chain->mLeft << " left";
    if (!done) _exit(1);
    starter.join();
    mQueue->disconnect(chain);  // they hold each other
}

INSTANTIATE_TEST_SUITE_P(
        , EveryDisplayTest,
        testing::Values(DisplayCase{"Null", host::createNullDisplay},
                        DisplayCase{"Recording", [] { return host::createRecordingDisplay(); }},
                        DisplayCase{"Png", createPng}, DisplayCase{"Window", createWindow}),
        [](const auto& info) { return info.param.name; });

// ---- Recording

// Up to the limit. The same samples give the same hash whatever their padding and order in memory;
// others do not.
TEST(RecordingDisplayTest, KeepsWhatCameWithItsTimes) {
    const auto display = host::createRecordingDisplay(3);
    const auto producer = std::make_unique<CardProducer>(display->producer()->pictureQueue());
    producer->connect();
    for (int i = 0; i < 5; ++i) {
        CardOptions card;
        card.width = 50;  // rows are padded
        card.height = 30;
        card.mediaTimeUs = 40000 * i;
        card.upsideDownInMemory = i == 1;
        card.range = i == 2 ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
        ASSERT_TRUE(producer->queue(makeCard(card), 1000 * i));
    }
    ASSERT_TRUE(waitFor([&] { return display->figures().shown == 5; }));
    const std::vector<host::RecordedPicture> pictures = display->pictures();
    ASSERT_EQ(3U, pictures.size());
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(1000 * i, pictures[i].timestampNs);
        EXPECT_EQ(40000 * i, pictures[i].mediaTimeUs);
        EXPECT_EQ(50, pictures[i].width);
        EXPECT_EQ(30, pictures[i].height);
        EXPECT_GE(pictures[i].arrivalUs, pictures[std::max(i - 1, 0)].arrivalUs);
    }
    EXPECT_NE(0U, pictures[0].hash);
    EXPECT_EQ(pictures[0].hash, pictures[1].hash);
    EXPECT_NE(pictures[0].hash, pictures[2].hash);
}

// ---- Faults

// One report for any number of pictures, and nobody waits.
TEST(PngDisplayTest, ReportsOnceThatItCannotWrite) {
    const FaultLog log;
    const std::string directory = TempDir::ofProcess().file("is-not-there");
    const auto display = host::createPngDisplay(directory);
    const auto producer = std::make_unique<CardProducer>(display->producer()->pictureQueue());
    producer->connect();
    for (int i = 0; i < 10; ++i)
        ASSERT_TRUE(producer->queue(makeCard()));
    ASSERT_TRUE(waitFor([&] { return display->figures().failed == 10; }));
    EXPECT_EQ(0U, display->figures().shown);
    const std::vector<host::Fault> faults = log.faults();
    ASSERT_EQ(1U, faults.size());
    EXPECT_EQ(host::FaultSource::kWriter, faults[0].source);
    EXPECT_EQ(directory, faults[0].object);
    EXPECT_EQ(ENOENT, faults[0].error);
}

// Whoever may write into the directory must not have other files of the user's overwritten.
TEST(PngDisplayTest, FollowsNoLinks) {
    const TempDir directory;
    const std::string other = directory.file("other");
    ASSERT_TRUE(writeFile(other, "kept"));
    for (const char* name : {"picture-000001.png", "picture-000001-0.000000s.png"})
        ASSERT_EQ(0, symlink(other.c_str(), directory.file(name).c_str()));
    const auto display = host::createPngDisplay(directory.path());
    const auto producer = std::make_unique<CardProducer>(display->producer()->pictureQueue());
    producer->connect();
    ASSERT_TRUE(producer->queue(makeCard()));
    ASSERT_TRUE(waitFor([&] { return display->figures().failed == 1; }));
    EXPECT_EQ("kept", readFile(other));
}

TEST(DisplayErrorTest, SaysWhyThereIsNoWindow) {
    const struct {
        const char* variable;
        const char* value;
        const char* expected;  // part of the answer
    } kCases[] = {{nullptr, nullptr, "DISPLAY"},
                  {"DISPLAY", ":987", "SDL cannot open the screen"},
                  {"SDL_VIDEODRIVER", "nonsense", "nonsense"}};
    for (const auto& probe : kCases) {
        SCOPED_TRACE(probe.expected);
        for (const char* variable : {"SDL_VIDEODRIVER", "DISPLAY", "WAYLAND_DISPLAY"})
            unsetenv(variable);
        if (probe.variable != nullptr) setenv(probe.variable, probe.value, 1);
        const std::string error = host::displayError();
        EXPECT_NE(std::string::npos, error.find(probe.expected)) << error;
        EXPECT_EQ(std::string::npos, error.find('\n'));
        std::string reason;
        EXPECT_EQ(nullptr, host::createWindowDisplay({}, &reason));
        EXPECT_EQ(error, reason);
    }
    const HeadlessVideo headless;
    EXPECT_EQ("", host::displayError());
}

}  // namespace
}  // namespace oxa::test
