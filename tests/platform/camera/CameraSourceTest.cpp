// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <media/hardware/HardwareAPI.h>
#include <media/stagefright/CameraSource.h>
#include <media/stagefright/MediaBuffer.h>
#include <utils/Timers.h>

#include "camera/CameraRegistry.h"
#include "graphics/PictureBuffer.h"
#include "platform/camera/CameraKit.h"
#include "support/LiveSources.h"
#include "support/Test.h"

namespace oxa::test {
namespace {

using namespace android;

class CameraSourceTest : public testing::Test {
  protected:
    CameraSourceTest() { mCameras.add(0, "lavfi:" + numberedPictures(60, 128, 96)); }

    sp<CameraSource> createSource(Size size = Size(-1, -1), int32_t frameRate = -1,
                                  bool metadata = true) {
        return CameraSource::CreateFromCamera(nullptr, nullptr, 0, String16("test"), 0, 0, size,
                                              frameRate, nullptr, metadata);
    }

    // A source of a camera that stays the client's.
    static sp<CameraSource> shareCamera(const OpenCamera& camera) {
        return CameraSource::CreateFromCamera(camera->remote(), camera->getRecordingProxy(), 0,
                                              String16("test"), 0, 0, Size(128, 96), 60, nullptr);
    }

    static MediaBufferBase* read(const sp<CameraSource>& source) {
        MediaBufferBase* buffer = nullptr;
        EXPECT_EQ(source->read(&buffer), OK);
        return buffer;
    }
    static int64_t timeOf(MediaBufferBase* buffer) {
        int64_t timeUs = -1;
        EXPECT_TRUE(buffer->meta_data().findInt64(kKeyTime, &timeUs));
        return timeUs;
    }

    // The times of the pictures that are left.
    static std::vector<int64_t> readToEnd(const sp<CameraSource>& source) {
        std::vector<int64_t> timesUs;
        MediaBufferBase* buffer = nullptr;
        status_t status;
        while ((status = source->read(&buffer)) == OK && buffer != nullptr) {
            timesUs.push_back(timeOf(buffer));
            buffer->release();
        }
        EXPECT_EQ(status, ERROR_END_OF_STREAM);
        return timesUs;
    }

    Cameras mCameras;
};

TEST_F(CameraSourceTest, checksWhatIsWantedOfTheCamera) {
    EXPECT_EQ(createSource(Size(100, 100))->initCheck(), BAD_VALUE);
    EXPECT_EQ(createSource(Size(-1, 96))->initCheck(), BAD_VALUE);
    EXPECT_EQ(createSource(Size(128, 96), 23)->initCheck(), BAD_VALUE);
    EXPECT_EQ(createSource(Size(128, 96), 30, false)->initCheck(), ERROR_UNSUPPORTED);
    EXPECT_DEATH(createSource(Size(128, 96), 0), "mWantedFrameRate > 0");

    const sp<CameraSource> source = createSource(Size(1280, 720), 30);
    ASSERT_EQ(source->initCheck(), OK);
    EXPECT_EQ(source->metaDataStoredInVideoBuffers(), kMetadataBufferTypeANWBuffer);
    const std::pair<uint32_t, int32_t> kFacts[] = {
            {kKeyWidth, 1280},      {kKeyHeight, 720},   {kKeyStride, 1280},
            {kKeySliceHeight, 720}, {kKeyFrameRate, 30}, {kKeyColorFormat, 0x7F000789}};
    for (const auto& [key, expected] : kFacts) {
        int32_t value = 0;
        EXPECT_TRUE(source->getFormat()->findInt32(key, &value));
        EXPECT_EQ(value, expected);
    }
    EXPECT_EQ(createSource()->initCheck(), NO_INIT) << "the camera has an owner";
}

TEST_F(CameraSourceTest, countsFromTheStartTimeIfThereIsOne) {
    std::vector<int64_t> timesUs;
    int64_t startUs = 0;
    int64_t toldUs = 0;  // to the sound of the same device
    EXPECT_EQ(missedEachTime([&]() -> std::string {
                  const sp<CameraSource> source = createSource();
                  const sp<MetaData> params = new MetaData;
                  startUs = systemTime(SYSTEM_TIME_MONOTONIC) / 1000 + 200000;
                  params->setInt64(kKeyTime, startUs);
                  EXPECT_EQ(source->start(params.get()), OK);
                  EXPECT_EQ(source->setStopTimeUs(startUs + 100000), OK);
                  timesUs = readToEnd(source);
                  toldUs = CameraRegistry::instance().find(0)->recordedFromUs();
                  source->stop();
                  const bool isWhole = timesUs.size() >= 5 && timesUs.size() <= 7;
                  return isWhole ? "" : std::to_string(timesUs.size()) + " pictures";
              }),
              "");
    ASSERT_FALSE(timesUs.empty());
    EXPECT_EQ(toldUs, startUs);
    EXPECT_TRUE(std::is_sorted(timesUs.begin(), timesUs.end(), std::less_equal<>()));
    EXPECT_GE(timesUs.front(), 0);
    EXPECT_LT(timesUs.back(), 100000);
}

// Each place is a whole picture: a reader that keeps them must not make the process grow.
TEST_F(CameraSourceTest, hasAFixedNumberOfPicturesOnTheWay) {
    const sp<CameraSource> source = createSource();
    const sp<MetaData> params = new MetaData;
    params->setInt32(kKeyNumBuffers, 3);
    ASSERT_EQ(source->start(params.get()), OK);
    MediaBufferBase* const held[] = {read(source), read(source), read(source)};
    ASSERT_TRUE(waitFor([] { return host::cameraFigures(0).recordingDropped >= 5; }));
    EXPECT_EQ(host::cameraFigures(0).recorded, 3u);
    EXPECT_EQ(timeOf(held[0]), 0) << "without a start time the first picture is the beginning";
    const int64_t gapUs = timeOf(held[2]);
    for (MediaBufferBase* buffer : held)
        buffer->release();
    MediaBufferBase* const next = read(source);
    ASSERT_NE(next, nullptr);
    EXPECT_GE(timeOf(next) - gapUs, 6 * 16666) << "what was dropped leaves a gap in the times";
    next->release();
    source->stop();
}

TEST_F(CameraSourceTest, stopWaitsForPicturesThatWereReadAndWakesReaders) {
    const sp<CameraSource> source = createSource();
    ASSERT_EQ(source->start(), OK);
    MediaBufferBase* const held = read(source);
    ASSERT_NE(held, nullptr);
    ASSERT_EQ(sizeof(VideoNativeMetadata), held->size());
    const auto* const record = static_cast<VideoNativeMetadata*>(held->data());
    EXPECT_EQ(record->eType, kMetadataBufferTypeANWBuffer);
    EXPECT_EQ(record->nFenceFd, -1);
    std::atomic<bool> stopped{false};
    std::thread stopping([&] {
        source->stop();
        stopped = true;
    });
    MediaBufferBase* buffer = held;
    MediaSource::ReadOptions options;
    options.setSeekTo(0);
    EXPECT_EQ(source->read(&buffer, &options), ERROR_UNSUPPORTED) << "nobody seeks in a camera";
    options.clearSeekTo();
    options.setNonBlocking();
    options.clearNonBlocking();
    EXPECT_FALSE(options.getNonBlocking());
    for (buffer = held; buffer != nullptr;) {
        EXPECT_EQ(source->read(&buffer, &options), OK);
        if (buffer != nullptr) buffer->release();
    }
    EXPECT_FALSE(stopped) << "the encoder may still look at the picture";
    EXPECT_EQ(numberOf(*record->pBuffer->picture), 0);
    held->release();
    stopping.join();
    EXPECT_EQ(source->stop(), OK) << "again";
    EXPECT_TRUE(OpenCamera(0).exists()) << "the source has given its camera back";
}

TEST_F(CameraSourceTest, endsWithTheCamera) {
    for (const bool lost : {true, false}) {
        OpenCamera camera;
        const sp<CameraSource> source = shareCamera(camera);
        ASSERT_EQ(source->start(), OK);
        read(source)->release();
        if (lost) {
            host::loseCamera(0, true);
        } else {
            camera->disconnect();
        }
        readToEnd(source);
        EXPECT_EQ(source->stop(), OK);
        host::loseCamera(0, false);
    }
}

// A recorder that shares the client's camera must leave it to the client.
TEST_F(CameraSourceTest, leavesACameraThatWasHandedIn) {
    OpenCamera camera;
    const auto preview = PictureTarget::create();
    ASSERT_EQ(camera->setPreviewTarget(preview->producer()), OK);
    ASSERT_EQ(camera->startPreview(), OK);
    {
        const sp<CameraSource> source = shareCamera(camera);
        ASSERT_EQ(source->start(), OK);
        read(source)->release();
        // Dropped while it runs.
    }
    EXPECT_FALSE(camera->recordingEnabled());
    EXPECT_TRUE(camera->previewEnabled());
    EXPECT_TRUE(preview->waitForCount(preview->count() + 2));
    EXPECT_DEATH(CameraSource::CreateFromCamera(camera->remote(), nullptr, 0, String16("test"), 0,
                                                0, Size(-1, -1), -1, nullptr),
                 "mRecordingProxy");
}

}  // namespace
}  // namespace oxa::test
