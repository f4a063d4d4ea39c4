// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <cerrno>

#include "platform/camera/CameraKit.h"
#include "support/LiveSources.h"
#include "support/Test.h"

namespace oxa::test {
namespace {

using namespace android;

class CameraTest : public testing::Test {
  protected:
    Cameras mCameras;
};

TEST_F(CameraTest, AreFoundByTheirNumbers) {
    mCameras.add(0, "lavfi:" + numberedPictures(30));
    mCameras.add(3, "lavfi:" + numberedPictures(25));
    EXPECT_FALSE(host::registerCamera(-1, "lavfi:testsrc2"));
    EXPECT_FALSE(host::registerCamera(5, ""));
    EXPECT_EQ(4, Camera::getNumberOfCameras()) << "clients take it for the end of the numbers";
    hardware::CameraInfo info;
    EXPECT_EQ(OK, Camera::getCameraInfo(3, &info));
    EXPECT_EQ(BAD_VALUE, Camera::getCameraInfo(1, &info));
    EXPECT_FALSE(OpenCamera(1).exists());
    OpenCamera third(3);
    EXPECT_EQ(25, CameraParameters(third->getParameters()).getPreviewFrameRate());
    host::unregisterCamera(3);
    EXPECT_EQ(1, Camera::getNumberOfCameras());
}

TEST_F(CameraTest, HasOneOwnerAtATime) {
    mCameras.add(0, "lavfi:" + numberedPictures(30));
    const sp<Camera> first = Camera::connect(0, String16("a"), -1, -1);
    ASSERT_NE(nullptr, first.get());
    EXPECT_FALSE(OpenCamera(0).exists());
    const sp<Camera> other = Camera::create(first->remote());
    ASSERT_NE(nullptr, other.get()) << "an owner may share it";
    EXPECT_EQ(nullptr, Camera::create(nullptr).get());

    first->disconnect();
    first->disconnect();
    EXPECT_EQ(nullptr, first->remote().get());
    EXPECT_EQ(NO_INIT, first->startPreview());
    EXPECT_EQ(0u, first->getParameters().length());
    EXPECT_EQ(NO_INIT, other->startPreview()) << "the device itself is closed";
    EXPECT_TRUE(OpenCamera(0).exists());
}

// A camera that cannot be opened must say why: the interface only knows null.
TEST_F(CameraTest, ReportsWhyItCannotBeOpened) {
    const FaultLog log;
    mCameras.add(0, "/nowhere/clip.mp4");
    EXPECT_FALSE(OpenCamera(0).exists());
    ASSERT_EQ(1u, log.faults().size());
    EXPECT_EQ(host::FaultSource::kCamera, log.faults()[0].source);
    EXPECT_EQ("cannot open '/nowhere/clip.mp4': No such file or directory", log.faults()[0].cause);
}

TEST_F(CameraTest, RefusesSettingsThatItDoesNotHave) {
    mCameras.add(0, "lavfi:" + numberedPictures(30, 640, 480));
    OpenCamera camera;
    const String8 before = camera->getParameters();
    EXPECT_EQ(BAD_VALUE, camera.change("preview-size=1920x1080"));
    EXPECT_EQ(BAD_VALUE, camera.change("preview-size=0x0"));
    EXPECT_EQ(BAD_VALUE, camera.change("video-size=4096x2160"));
    EXPECT_EQ(BAD_VALUE, camera.change("preview-frame-rate=0"));
    EXPECT_EQ(BAD_VALUE, camera->sendCommand(CAMERA_CMD_SET_VIDEO_FORMAT, 1, 0));
    EXPECT_EQ(INVALID_OPERATION,
              camera->setVideoBufferMode(hardware::ICamera::VIDEO_BUFFER_MODE_DATA_CALLBACK_YUV));
    EXPECT_STREQ(before.string(), camera->getParameters().string());

    EXPECT_EQ(OK, camera.change("preview-size=320x240;preview-frame-rate=15"));
    ASSERT_EQ(OK, camera->startPreview());
    EXPECT_EQ(-EBUSY, camera.change("preview-size=640x480"));
    EXPECT_EQ(-EBUSY, camera.change("preview-frame-rate=30"));
    EXPECT_EQ(OK, camera.change("video-size=1280x720")) << "of no matter to what is captured";
    camera->stopPreview();
    EXPECT_EQ(OK, camera.change("preview-size=640x480"));
}

TEST_F(CameraTest, ShowsItsPreviewInTheSizeAndRateThatWereSet) {
    mCameras.add(0, "lavfi:" + numberedPictures(60, 640, 480));
    OpenCamera camera;
    ASSERT_EQ(OK, camera.change("preview-size=320x240;preview-frame-rate=30"));
    const auto target = PictureTarget::create();
    ASSERT_EQ(OK, camera->setPreviewTarget(target->producer()));
    ASSERT_EQ(OK, camera->startPreview());
    EXPECT_EQ(OK, camera->startPreview());
    EXPECT_TRUE(camera->previewEnabled());
    ASSERT_TRUE(target->waitForCount(8));
    camera->stopPreview();
    camera->stopPreview();
    const std::vector<QueuedPicture> shown = target->pictures();
    for (size_t i = 0; i < shown.size(); ++i) {
        EXPECT_EQ(320, shown[i].picture->width());
        EXPECT_NEAR(2 * static_cast<int>(i), numberOf(*shown[i].picture), 1);
    }
    EXPECT_EQ(shown.size(), host::cameraFigures(0).captured);

    // A second preview goes on with the source's present, not with its beginning.
    ASSERT_EQ(OK, camera->startPreview());
    ASSERT_TRUE(target->waitForCount(shown.size() + 1));
    EXPECT_GT(numberOf(*target->pictures()[shown.size()].picture), numberOf(*shown.back().picture));
}

// Whoever shows or records must never hold the camera up, or it would hold up all others.
TEST_F(CameraTest, DropsAndCountsWhatFindsNoPlace) {
    mCameras.add(0, "lavfi:" + numberedPictures(60));
    OpenCamera camera;
    const FaultLog log;
    const auto still = PictureTarget::create(1);
    const auto preview = PictureTarget::create();
    const auto video = PictureTarget::create(3);
    EXPECT_EQ(INVALID_OPERATION, camera->startRecording()) << "nowhere to record to";
    ASSERT_EQ(OK, camera->setPreviewTarget(still->producer()));
    ASSERT_EQ(OK, camera->startPreview());
    ASSERT_TRUE(waitFor([] { return host::cameraFigures(0).previewDropped >= 3; }));
    EXPECT_EQ(0u, host::cameraFigures(0).recordingDropped);
    EXPECT_TRUE(log.faults().empty());
    EXPECT_EQ(1u, still->count());
    camera->stopPreview();
    const uint64_t previewDropped = host::cameraFigures(0).previewDropped;
    ASSERT_EQ(OK, camera->setPreviewTarget(preview->producer()));
    ASSERT_EQ(OK, camera->setVideoTarget(video->producer()));
    ASSERT_EQ(OK, camera->startPreview());
    ASSERT_EQ(OK, camera->startRecording());
    EXPECT_EQ(-EBUSY, camera->setVideoTarget(preview->producer()));
    ASSERT_TRUE(waitFor([] { return host::cameraFigures(0).recordingDropped >= 10; }));
    EXPECT_EQ(3u, video->count()) << "what is not released must not pile up";
    EXPECT_GE(preview->count(), 13u) << "the preview is not the recorder's victim";
    EXPECT_EQ(1u, log.faults().size()) << "said once";
    EXPECT_FALSE(log.faults()[0].ended);

    video->releaseAll();
    EXPECT_TRUE(video->waitForCount(6)) << "places that were given back are used again";
    camera->stopPreview();
    EXPECT_TRUE(video->waitForCount(video->count() + 3)) << "it does not end with the preview";
    EXPECT_TRUE(camera->recordingEnabled());
    camera->stopRecording();
    EXPECT_FALSE(camera->recordingEnabled());
    // The picture on its way at the stop may be counted a moment later.
    EXPECT_TRUE(waitFor([&] { return host::cameraFigures(0).recorded == video->count(); }));
    const host::CameraFigures figures = host::cameraFigures(0);
    EXPECT_LE(figures.recorded + figures.recordingDropped, figures.captured);
    EXPECT_EQ(previewDropped, figures.previewDropped);
}

struct Listener : public CameraListener {
    void notify(int32_t msgType, int32_t ext1, int32_t /*ext2*/) override {
        if (msgType == CAMERA_MSG_ERROR) error = ext1;
    }
    void postData(int32_t, const sp<IMemory>&, camera_frame_metadata_t*) override {}
    void postDataTimestamp(nsecs_t, int32_t, const sp<IMemory>&) override {}
    void postRecordingFrameHandleTimestamp(nsecs_t, native_handle_t*) override {}
    void postRecordingFrameHandleTimestampBatch(const std::vector<nsecs_t>&,
                                                const std::vector<native_handle_t*>&) override {}

    std::atomic<int32_t> error{0};
};

TEST_F(CameraTest, TellsThatItIsLostAndCanBeOpenedAgain) {
    mCameras.add(0, "lavfi:" + numberedPictures(60));
    const FaultLog log;
    const sp<Listener> listener = new Listener;
    {
        OpenCamera camera;
        camera->setListener(listener);
        ASSERT_EQ(OK, camera->startPreview());
        EXPECT_TRUE(host::loseCamera(0, true));
        EXPECT_EQ(ENODEV, waitForEnd(log));
        EXPECT_TRUE(waitFor([&] { return listener->error == CAMERA_ERROR_SERVER_DIED; }));
        EXPECT_TRUE(host::cameraFigures(0).ended);
    }
    EXPECT_FALSE(OpenCamera(0).exists()) << "it is not there";
    host::loseCamera(0, false);
    EXPECT_TRUE(OpenCamera(0).exists());
    EXPECT_FALSE(host::loseCamera(7, true));
}

}  // namespace
}  // namespace oxa::test
