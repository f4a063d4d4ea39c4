// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/Display.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "graphics/LocalBufferProducer.h"
#include "support/FaultLog.h"
#include "support/Test.h"
#include "support/TestPictures.h"

namespace oxa::test {
namespace {

using namespace android;
using host::Display;

std::unique_ptr<Display> createDisplay(const std::string& kind) {
    if (kind == "Null") return host::createNullDisplay();
    if (kind == "Recording") return host::createRecordingDisplay();
    if (kind == "Png") return host::createPngDisplay(TempDir::ofProcess().path());
    return host::createWindowDisplay({}, nullptr);
}

class EveryDisplayTest : public testing::TestWithParam<std::string> {
  protected:
    void SetUp() override {
        // SDL's driver without a screen: the looks of a window do not matter here.
        setenv("SDL_VIDEODRIVER", "dummy", 1);
        mDisplay = createDisplay(GetParam());
        ASSERT_NE(mDisplay, nullptr);
        mQueue = LocalBufferProducer::queueOf(mDisplay->producer());
        mQueue->setFormat(formatOf({}));
        mProducer = producerOf(*mDisplay);
    }

    void TearDown() override { unsetenv("SDL_VIDEODRIVER"); }

    uint64_t counted() const {
        const host::DisplayFigures figures = mDisplay->figures();
        return figures.shown + figures.replaced;
    }

    std::unique_ptr<Display> mDisplay;
    sp<PictureQueue> mQueue;
    std::unique_ptr<CardProducer> mProducer;
};

// Each picture is counted once, and each place comes back, whatever the order of what is queued,
// given back and disconnected.
TEST_P(EveryDisplayTest, givesEveryPlaceBack) {
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
    EXPECT_EQ(mDisplay->figures().failed, 0U);
    EXPECT_EQ(mProducer->freePlaces(), PictureQueue::kDefaultPlaces);
    // The display has no reference left but perhaps that of the last turn's locals.
    mDisplay.reset();
    EXPECT_EQ(picture->getStrongCount(), 1);
}

// What cannot be shown gives its place back, too.
TEST_P(EveryDisplayTest, goesOnAfterAPictureOfAnotherKind) {
    ASSERT_TRUE(mProducer->queue(new ForeignPicture));
    ASSERT_TRUE(waitFor([&] { return counted() + mDisplay->figures().failed == 1; }));
    ASSERT_TRUE(mProducer->queue(makeCard()));
    EXPECT_TRUE(waitFor([&] { return counted() + mDisplay->figures().failed == 2; }));
    EXPECT_GE(mDisplay->figures().shown, 1U);
    const bool mustConvert = GetParam() == "Png" || GetParam() == "Window";
    EXPECT_EQ(mDisplay->figures().failed, mustConvert ? 1U : 0U);
    EXPECT_EQ(mProducer->freePlaces(), PictureQueue::kDefaultPlaces);
}

// The producer's thread neither waits nor crashes, and has all places when the display is gone.
TEST_P(EveryDisplayTest, canGoWhileSomebodyRenders) {
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
    EXPECT_EQ(mProducer->freePlaces(), PictureQueue::kDefaultPlaces);
}

INSTANTIATE_TEST_SUITE_P(, EveryDisplayTest, testing::Values("Null", "Recording", "Png", "Window"),
                         [](const auto& info) { return info.param; });

TEST(RecordingDisplayTest, notesTheLumaOfEachField) {
    const auto display = host::createRecordingDisplay();
    const sp<Picture> card = makeCard();
    ASSERT_TRUE(producerOf(*display)->queue(card));
    ASSERT_TRUE(waitFor([&] { return display->figures().shown == 1; }));
    const host::PictureGrid grid = display->pictures().at(0).grid;
    const PicturePlanes planes = card->planes();
    const PicturePlanes::Plane& luma = planes.planes[0];
    for (size_t field = 0; field < grid.size(); ++field) {
        const size_t row = luma.rows * (2 * (field / 8) + 1) / 16;
        const size_t column = luma.rowBytes * (2 * (field % 8) + 1) / 16;
        EXPECT_NEAR(grid[field], luma.data[row * luma.stride + column], 2) << "field " << field;
    }
}

// One report for any number of pictures, and nobody waits.
TEST(PngDisplayTest, reportsOnceThatItCannotWrite) {
    const FaultLog log;
    const std::string directory = TempDir::ofProcess().file("is-not-there");
    const auto display = host::createPngDisplay(directory);
    const auto producer = producerOf(*display);
    for (int i = 0; i < 10; ++i)
        ASSERT_TRUE(producer->queue(makeCard()));
    ASSERT_TRUE(waitFor([&] { return display->figures().failed == 10; }));
    EXPECT_EQ(display->figures().shown, 0U);
    const std::vector<host::Fault> faults = log.faults();
    ASSERT_EQ(faults.size(), 1U);
    EXPECT_EQ(faults[0].source, host::FaultSource::kWriter);
    EXPECT_EQ(faults[0].object, directory);
    EXPECT_EQ(faults[0].error, ENOENT);
}

// Whoever may write into the directory must not have other files of the user's overwritten.
TEST(PngDisplayTest, followsNoLinks) {
    const TempDir directory;
    const std::string other = directory.file("other");
    ASSERT_TRUE(writeFile(other, "kept"));
    ASSERT_EQ(symlink(other.c_str(), directory.file("picture-000001.png").c_str()), 0);
    const auto display = host::createPngDisplay(directory.path());
    const auto producer = producerOf(*display);
    ASSERT_TRUE(producer->queue(makeCard()));
    ASSERT_TRUE(waitFor([&] { return display->figures().failed == 1; }));
    EXPECT_EQ(readFile(other), "kept");
}

}  // namespace
}  // namespace oxa::test
