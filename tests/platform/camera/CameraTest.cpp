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

TEST_F(CameraTest, areFoundByTheirNumbers) {
    mCameras.add(0, "lavfi:" + numberedPictures(30));
    mCameras.add(3, "lavfi:" + numberedPictures(25));
    EXPECT_FALSE(host::registerCamera(-1, "lavfi:testsrc2"));
    EXPECT_FALSE(host::registerCamera(5, ""));
    EXPECT_EQ(Camera::getNumberOfCameras(), 4) << "clients take it for the end of the numbers";
    hardware::CameraInfo info;
    EXPECT_EQ(Camera::getCameraInfo(3, &info), OK);
    EXPECT_EQ(Camera::getCameraInfo(1, &info), BAD_VALUE);
    EXPECT_FALSE(OpenCamera(1).exists());
    OpenCamera third(3);
    const CameraParameters parameters(third->getParameters());
    EXPECT_EQ(parameters.getPreviewFrameRate(), 25);
    EXPECT_STREQ(parameters.get(CameraParameters::KEY_SUPPORTED_PREVIEW_FRAME_RATES),
                 "5,10,12,15,20,24,25,30");
    host::unregisterCamera(3);
    EXPECT_EQ(Camera::getNumberOfCameras(), 1);
}

TEST_F(CameraTest, hasOneOwnerAtATime) {
    mCameras.add(0, "lavfi:" + numberedPictures(30));
    const sp<Camera> first = Camera::connect(0, String16("a"), -1, -1);
    ASSERT_NE(first.get(), nullptr);
    EXPECT_FALSE(OpenCamera(0).exists());
    const sp<Camera> other = Camera::create(first->remote());
    ASSERT_NE(other.get(), nullptr) << "an owner may share it";
    EXPECT_EQ(Camera::create(nullptr).get(), nullptr);

    first->disconnect();
    first->disconnect();
    EXPECT_EQ(first->remote().get(), nullptr);
    EXPECT_EQ(first->startPreview(), NO_INIT);
    EXPECT_EQ(first->getParameters().length(), 0u);
    EXPECT_EQ(other->startPreview(), NO_INIT) << "the device itself is closed";
    EXPECT_TRUE(OpenCamera(0).exists());
}

TEST_F(CameraTest, isHeldForOneClientWhoClosesItWhoeverHoldsIt) {
    mCameras.add(0, mediaPath("flower_540p_h264_aac.mp4"));
    const int closed = entriesOf("/proc/self/fd");
    std::string error;
    const host::CameraHold hold = host::holdCamera(0, 320, 240, 30, &error);
    ASSERT_NE(hold, nullptr) << error;
    EXPECT_EQ(host::holdCamera(0, 320, 240, 30, &error), nullptr);
    EXPECT_FALSE(error.empty());
    EXPECT_TRUE(OpenCamera(0).exists());
    EXPECT_EQ(entriesOf("/proc/self/fd"), closed);
    EXPECT_TRUE(OpenCamera(0).exists());
}

// A camera that cannot be opened must say why: the interface only knows null.
TEST_F(CameraTest, reportsWhyItCannotBeOpened) {
    const FaultLog log;
    mCameras.add(0, "/nowhere/clip.mp4");
    EXPECT_FALSE(OpenCamera(0).exists());
    ASSERT_EQ(log.faults().size(), 1u);
    EXPECT_EQ(log.faults()[0].source, host::FaultSource::kCamera);
    EXPECT_EQ(log.faults()[0].cause, "cannot open '/nowhere/clip.mp4': No such file or directory");
}

TEST_F(CameraTest, refusesSettingsThatItDoesNotHave) {
    mCameras.add(0, "lavfi:" + numberedPictures(30, 640, 480));
    OpenCamera camera;
    const String8 before = camera->getParameters();
    EXPECT_EQ(camera.change("preview-size=1920x1080"), BAD_VALUE);
    EXPECT_EQ(camera.change("preview-size=0x0"), BAD_VALUE);
    EXPECT_EQ(camera.change("video-size=4096x2160"), BAD_VALUE);
    EXPECT_EQ(camera.change("preview-frame-rate=0"), BAD_VALUE);
    EXPECT_EQ(camera->sendCommand(CAMERA_CMD_SET_VIDEO_FORMAT, 1, 0), BAD_VALUE);
    EXPECT_EQ(camera->setVideoBufferMode(hardware::ICamera::VIDEO_BUFFER_MODE_DATA_CALLBACK_YUV),
              INVALID_OPERATION);
    EXPECT_STREQ(before.c_str(), camera->getParameters().c_str());

    EXPECT_EQ(camera.change("preview-size=320x240;preview-frame-rate=15"), OK);
    ASSERT_EQ(camera->startPreview(), OK);
    EXPECT_EQ(camera.change("preview-size=640x480"), -EBUSY);
    EXPECT_EQ(camera.change("preview-frame-rate=30"), -EBUSY);
    EXPECT_EQ(camera.change("video-size=1280x720"), OK) << "of no matter to what is captured";
    camera->stopPreview();
    EXPECT_EQ(camera.change("preview-size=640x480"), OK);
}

TEST_F(CameraTest, showsItsPreviewInTheSizeAndRateThatWereSet) {
    mCameras.add(0, "lavfi:" + numberedPictures(60, 640, 480));
    OpenCamera camera;
    ASSERT_EQ(camera.change("preview-size=320x240;preview-frame-rate=30"), OK);
    const auto target = PictureTarget::create();
    ASSERT_EQ(camera->setPreviewTarget(target->producer()), OK);
    ASSERT_EQ(camera->startPreview(), OK);
    EXPECT_EQ(camera->startPreview(), OK);
    EXPECT_TRUE(camera->previewEnabled());
    ASSERT_TRUE(target->waitForCount(8));
    camera->stopPreview();
    camera->stopPreview();
    const std::vector<QueuedPicture> shown = target->pictures();
    for (size_t i = 0; i < shown.size(); ++i) {
        EXPECT_EQ(shown[i].picture->width(), 320);
        EXPECT_EQ(shown[i].picture->height(), 240);
        EXPECT_NEAR(numberOf(*shown[i].picture), 2 * static_cast<int>(i), 1);
    }
    EXPECT_EQ(shown.size(), host::cameraFigures(0).captured);

    // A second preview goes on with the source's present, not with its beginning.
    ASSERT_EQ(camera->startPreview(), OK);
    ASSERT_TRUE(target->waitForCount(shown.size() + 1));
    EXPECT_GT(numberOf(*target->pictures()[shown.size()].picture), numberOf(*shown.back().picture));
}

// Whoever shows or records must never hold the camera up, or it would hold up all others.
TEST_F(CameraTest, dropsAndCountsWhatFindsNoPlace) {
    mCameras.add(0, "lavfi:" + numberedPictures(60));
    OpenCamera camera;
    const FaultLog log;
    const auto still = PictureTarget::create(1);
    const auto preview = PictureTarget::create();
    const auto video = PictureTarget::create(3);
    EXPECT_EQ(camera->startRecording(), INVALID_OPERATION) << "nowhere to record to";
    ASSERT_EQ(camera->setPreviewTarget(still->producer()), OK);
    ASSERT_EQ(camera->startPreview(), OK);
    ASSERT_TRUE(waitFor([] { return host::cameraFigures(0).previewDropped >= 3; }));
    EXPECT_EQ(host::cameraFigures(0).recordingDropped, 0u);
    EXPECT_TRUE(log.faults().empty());
    EXPECT_EQ(still->count(), 1u);
    camera->stopPreview();
    const uint64_t previewDropped = host::cameraFigures(0).previewDropped;
    ASSERT_EQ(camera->setPreviewTarget(preview->producer()), OK);
    ASSERT_EQ(camera->setVideoTarget(video->producer()), OK);
    ASSERT_EQ(camera->startPreview(), OK);
    ASSERT_EQ(camera->startRecording(), OK);
    EXPECT_EQ(camera->setVideoTarget(preview->producer()), -EBUSY);
    ASSERT_TRUE(waitFor([] { return host::cameraFigures(0).recordingDropped >= 10; }));
    EXPECT_EQ(video->count(), 3u) << "what is not released must not pile up";
    EXPECT_GE(preview->count(), 13u) << "the preview is not the recorder's victim";
    EXPECT_EQ(log.faults().size(), 1u) << "said once";
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

TEST_F(CameraTest, tellsThatItIsLostAndCanBeOpenedAgain) {
    mCameras.add(0, "lavfi:" + numberedPictures(60));
    const FaultLog log;
    const sp<Listener> listener = new Listener;
    {
        OpenCamera camera;
        camera->setListener(listener);
        ASSERT_EQ(camera->startPreview(), OK);
        EXPECT_TRUE(host::loseCamera(0, true));
        EXPECT_EQ(waitForEnd(log), ENODEV);
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
