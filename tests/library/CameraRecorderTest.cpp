// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/HdmiReceiver.h>

#include "HdmiRxInfo.h"
#include "library/Disturbance.h"
#include "library/Stage.h"
#include "support/LogCapture.h"

namespace android {
namespace {

using testing::HasSubstr;

TEST(CameraRecorderDeathTest, aCameraThatIsNotThereIsFatal) {
    // Of two.
    for (const int camera : {-1, 2, 7}) {
        EXPECT_DEATH(
                {
                    CameraStage stage;
                    oxa::host::registerCamera(1, CameraStage::kPicture);
                    stage.pipeline->setDataSource(0, camera, String16("test"));
                },
                HasSubstr(refusalOf("mCameraId >= 0 && mCameraId < numCamera")))
                << camera;
    }
    EXPECT_DEATH(
            {
                CameraStage stage;
                advance(&stage, 1);
                stage.pipeline->setSurface(NULL);
            },
            HasSubstr(refusalOf("mSurface != NULL")));
}

// A receiver in a size of its own.
class HdmiStage : public CameraStage {
  public:
    HdmiStage() {
        type = kHdmiRx;
        setDeviceRoot(mRoot.path().c_str());
        oxa::host::HdmiReceiverOptions options;
        options.deviceRoot = mRoot.path();
        options.source = std::string(kPicture) + "[out0];sine=sample_rate=48000[out1]";
        std::string error;
        mReceiver = oxa::host::SimulatedHdmiReceiver::create(options, &error);
        EXPECT_NE(mReceiver, nullptr) << error;
    }
    ~HdmiStage() {
        HdmiRxInfo::DelInstance();
        setDeviceRoot("");
    }

  private:
    const oxa::test::TempDir mRoot;
    std::unique_ptr<oxa::host::SimulatedHdmiReceiver> mReceiver;
};

TEST(CameraRecorderTest, prepareTellsWhetherTheCameraHasTheFormat) {
    const struct {
        bool hdmi;
        int width, height, frameRate;
        status_t expected;
    } kCases[] = {{false, 160, 120, 30, OK},       {false, 123, 45, 30, BAD_VALUE},
                  {false, 0, 0, 30, BAD_VALUE},    {false, 160, 120, 29, OK},
                  {true, 1920, 1080, 30, OK},      {true, 160, 120, 10, OK},
                  {true, 160, 120, 31, BAD_VALUE}, {true, 160, 120, 60, BAD_VALUE},
                  {true, 0, 0, 30, BAD_VALUE}};
    for (const auto& test : kCases) {
        SCOPED_TRACE(std::string(test.hdmi ? "hdmi " : "usb ") + std::to_string(test.width) + " " +
                     std::to_string(test.frameRate));
        const std::unique_ptr<CameraStage> stage =
                test.hdmi ? std::make_unique<HdmiStage>() : std::make_unique<CameraStage>();
        stage->format.width = test.width;
        stage->format.height = test.height;
        stage->format.frameRate = test.frameRate;
        advance(stage.get(), CameraStage::kPrepare);
        const LogCapture log;
        EXPECT_EQ(stage->pipeline->prepare(), test.expected);
        EXPECT_EQ(log.contains("CameraRecorder", "Frames will be dropped"),
                  test.hdmi && test.frameRate < 30);
        if (test.expected == OK) continue;
        EXPECT_EQ(stage->pipeline->prepare(), test.expected) << "it may be tried again";
    }
}

TEST(CameraRecorderTest, theReceiversPreviewIsNoLargerThanItsPictureAndRunsAt30) {
    HdmiStage stage;
    stage.format.width = 1920;
    stage.format.height = 1080;
    stage.format.frameRate = 15;
    advance(&stage, CameraStage::kPrepare + 1);
    sp<AMessage> response;
    AString text;
    sp<AMessage>(new AMessage(CameraRecorder::kWhatGetCameraParam, stage.pipeline))
            ->postAndAwaitResponse(&response);
    ASSERT_TRUE(response->findString(AMSG_CAMERA_PARAM, &text));
    const std::string parameters = std::string(";") + text.c_str() + ";";
    EXPECT_THAT(parameters, HasSubstr(";preview-size=160x120;"));
    EXPECT_THAT(parameters, HasSubstr(";preview-frame-rate=30;"));
}

// Such a rate is refused by prepare, but not from a recorder that runs.
TEST(CameraRecorderTest, aRateAboveTheReceiversThatIsSetLaterLeavesNothingOut) {
    HdmiStage stage;
    stage.reports->muxer = stage.muxer;
    advance(&stage, CameraStage::kPrepare + 2);
    _AV_FORMAT_FORMAT fast = stage.format;
    fast.frameRate = 60;
    ASSERT_EQ(stage.pipeline->configure(fast), OK);
    stage.pipeline->setMuxer(stage.muxer);
    ASSERT_EQ(stage.pipeline->setRecord(1), OK);
    EXPECT_TRUE(oxa::test::waitFor([&] { return stage.pipeline->writtenFrames() > 5; }));
    EXPECT_EQ(stage.pipeline->thinnedFrames(), 0);
    EXPECT_EQ(stage.pipeline->stop(), OK);
}

// The end may come on the callback thread while the command that asks for it is still being
// handled.
TEST(CameraRecorderTest, aLostCameraEndsARecordingWhileItIsSwitchedOff) {
    constexpr std::chrono::milliseconds kQuiet{200};
    CameraStage stage;
    stage.reports->muxer = stage.muxer;
    advance(&stage, CameraStage::kPrepare + 2);
    stage.pipeline->setMuxer(stage.muxer);
    ASSERT_EQ(stage.pipeline->setRecord(1), OK);
    ASSERT_TRUE(oxa::test::waitFor([&] { return stage.pipeline->writtenFrames() > 0; }));
    oxa::host::loseCamera(0, true);
    int64_t last;
    do {
        last = stage.pipeline->capturedTimeUs();
    } while (oxa::test::waitFor([&] { return stage.pipeline->capturedTimeUs() != last; }, kQuiet));
    oxa::test::holdUpNextBroadcaster();
    ASSERT_EQ(stage.pipeline->setRecord(0), OK);
    EXPECT_TRUE(oxa::test::waitFor([&] { return stage.reports->count(kWhatStopTranscode) == 1; }));
    EXPECT_EQ(stage.pipeline->stop(), OK);
}

// The picture that is on its way carries the end, unless it stays out for more than a second.
TEST(CameraRecorderTest, anEndWaitsForThePictureOfASlowCamera) {
    const std::pair<const char*, bool> kCases[] = {{"10", true}, {"1/5", false}};
    for (const auto& [rate, waits] : kCases) {
        SCOPED_TRACE(rate);
        const LogCapture log;
        CameraStage stage;
        oxa::host::clearCameras();
        oxa::host::registerCamera(0, std::string("lavfi:testsrc2=size=160x120:rate=") + rate);
        stage.reports->muxer = stage.muxer;
        advance(&stage, CameraStage::kPrepare + 2);
        stage.pipeline->setMuxer(stage.muxer);
        ASSERT_EQ(stage.pipeline->setRecord(1), OK);
        ASSERT_TRUE(oxa::test::waitFor([&] { return stage.pipeline->writtenFrames() > 0; }));
        const int64_t written = stage.pipeline->writtenFrames();
        ASSERT_EQ(stage.pipeline->setRecord(0), OK);
        ASSERT_TRUE(
                oxa::test::waitFor([&] { return stage.reports->count(kWhatStopTranscode) == 1; }));
        EXPECT_EQ(stage.pipeline->writtenFrames() > written, waits);
        EXPECT_EQ(log.contains("CameraRecorder", "interruptSource"), !waits);
        EXPECT_EQ(stage.pipeline->stop(), OK);
    }
}

// As another player does when it begins or ends.
TEST(CameraRecorderTest, theReceiversFactsStayWhileItIsInUse) {
    HdmiStage stage;
    advance(&stage, CameraStage::kPrepare + 1);
    const LogCapture log;
    HdmiRxInfo::DelInstance();
    HdmiRxInfo::GetInstance();
    EXPECT_EQ(log.count("HdmiRxInfo", "HDMI-Rx video"), 0) << "read again";
    EXPECT_EQ(stage.pipeline->reset(), OK);
    HdmiRxInfo::GetInstance();
    EXPECT_EQ(log.count("HdmiRxInfo", "HDMI-Rx video"), 1) << "not read afresh";
}

TEST(CameraRecorderTest, withoutACameraNothingIsPrepared) {
    CameraStage stage;
    oxa::host::clearCameras();
    stage.type = CameraStage::kHdmiRx;
    // Another number than the kernel's cameras have, if there are any.
    oxa::host::registerCamera(5, CameraStage::kPicture);
    advance(&stage, CameraStage::kPrepare);
    EXPECT_EQ(stage.pipeline->prepare(), NO_INIT);
}

// A negative bit rate is computed and written back, and none is the encoder's choice; other modes
// of deinterlacing than there are do not come to the encoder.
TEST(CameraRecorderTest, asksTheEncoderForWhatTheTargetSays) {
    const struct {
        int mode, bitRate, expectedRate;
    } kCases[] = {{-1, -1, 160 * 120 * 15}, {0, 0, 0}, {2, 200000, 200000}, {3, 1, 1}};
    for (const auto& [mode, bitRate, expectedRate] : kCases) {
        const LogCapture log;
        CameraStage stage;
        stage.format.deinterlace = mode;
        stage.format.bitRate = bitRate;
        stage.format.iFrameInterval = 7;
        stage.format.level = 4;
        stage.format.profile = 2;
        advance(&stage, CameraStage::kPrepare + 2);
        ASSERT_EQ(stage.pipeline->setRecord(1), OK);
        EXPECT_EQ(stage.format.bitRate, expectedRate);
        EXPECT_EQ(stage.pipeline->stop(), OK);
        const auto isAskedFor = [&](const std::string& item, int value) {
            return log.contains("CameraRecorder",
                                "int32_t " + item + " = " + std::to_string(value) + "\n");
        };
        EXPECT_EQ(isAskedFor("video-de-interlace", mode), mode == 0 || mode == 2) << mode;
        EXPECT_TRUE(isAskedFor("bitrate", expectedRate));
        EXPECT_TRUE(isAskedFor("frame-rate", 30));
        EXPECT_TRUE(isAskedFor("i-frame-interval", 7));
        EXPECT_TRUE(isAskedFor("level", 4));
        EXPECT_TRUE(isAskedFor("profile", 2));
    }
}

}  // namespace
}  // namespace android
