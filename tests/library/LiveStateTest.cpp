// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <oxa/host/Cameras.h>
#include <oxa/host/Display.h>
#include <oxa/host/HdmiReceiver.h>
#include <oxa/host/Microphones.h>
#include <oxa/host/SoundOutput.h>
#include <system/audio.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "AudioRecordEncoder.h"
#include "AudioRxEncoder.h"
#include "CameraRecorder.h"
#include "HdmiRxInfo.h"
#include "library/OwnLooper.h"
#include "library/Reports.h"
#include "library/Steps.h"
#include "support/Deadline.h"
#include "support/TempDir.h"

namespace android {
namespace {

using oxa::test::TempDir;
using oxa::test::waitFor;
using testing::HasSubstr;

constexpr int kWidth = 160;
constexpr int kHeight = 120;
constexpr int kHdmiRx = 1;
constexpr int kUsbCamera = 0;
const String16 kClient("live-state-test");

_AV_FORMAT_FORMAT smallTarget() {
    _AV_FORMAT_FORMAT format = {};
    format.width = kWidth;
    format.height = kHeight;
    format.frameRate = 30;
    format.bitRate = 200000;
    format.iFrameInterval = 1;
    format.deinterlace = -1;
    format.channelCount = 2;
    format.sampleRate = 48000;
    return format;
}

std::string graph(const std::string& sound = "") {
    const std::string picture = "lavfi:testsrc2=size=" + std::to_string(kWidth) + "x" +
                                std::to_string(kHeight) + ":rate=30";
    return sound.empty() ? picture : picture + "[out0];" + sound + "[out1]";
}

// One live pipeline on a looper, with somebody to report to.
template <typename Pipeline>
class LiveStage {
  public:
    LiveStage() {
        pipeline->mPlayerHandler = reports;
        pipeline->mStatusHandler = reports;
        oxa::host::useNullSound();
    }
    ~LiveStage() {
        pipeline->reset();
        pipeline->cleanup();
        oxa::host::clearCameras();
        oxa::host::clearMicrophones();
    }

    const sp<Pipeline> pipeline = new Pipeline;
    const sp<Reports> reports = new Reports;
    _AV_FORMAT_FORMAT format = smallTarget();

  private:
    const OwnLooper mReportLooper{reports};
    const OwnLooper mLooper{pipeline};
};

class CameraStage : public LiveStage<CameraRecorder> {
  public:
    CameraStage() { oxa::host::registerCamera(0, graph()); }
    static std::vector<Step> steps(CameraStage* stage) {
        return {{[stage] { return stage->pipeline->setDataSource(stage->type, 0, kClient); },
                 refusalOf("mState == UNINITIALIZED")},
                {[stage] {
                     return stage->pipeline->setSurface(
                             new Surface(stage->mDisplay->producer(), false));
                 },
                 refusalOf("mState == WAIT_SURFACE")},
                {[stage] { return stage->pipeline->configure(stage->format); },
                 refusalOf("mState == INITIALIZED || mState == STARTED"), true},
                {[stage] { return stage->pipeline->prepare(); }, refusalOf("mState == CONFIGURED")},
                {[stage] { return stage->pipeline->start(); }, refusalOf("mState == PREPARED")},
                {[stage] { return stage->pipeline->stop(); }, refusalOf("mState == STARTED")}};
    }
    status_t record(bool on) { return pipeline->setRecord(on); }

    static constexpr char kCheckedIn[] = "CameraRecorder";
    static constexpr size_t kPrepare = 3;
    static constexpr size_t kStarted = 5;
    static constexpr int kUnknownCode = 6;
    static constexpr const char* kNowhere = "CameraRecorder.cpp:470 Should not be here.";
    int type = kUsbCamera;

  private:
    const std::unique_ptr<oxa::host::Display> mDisplay = oxa::host::createNullDisplay();
};

class RxStage : public LiveStage<AudioRxEncoder> {
  public:
    static std::vector<Step> steps(RxStage* stage) {
        return {{[stage] { return stage->pipeline->setAudioSource(0); },
                 refusalOf("mState == UNINITIALIZED")},
                {[stage] { return stage->pipeline->configure(&stage->format); },
                 refusalOf("mState == INITIALIZED || mState ==STARTED"), true},
                {[stage] { return stage->pipeline->prepare(); }, refusalOf("mState == CONFIGURED")},
                {[stage] { return stage->pipeline->start(-1); }, refusalOf("mState == PREPARED")},
                {[stage] { return stage->pipeline->stop(); }, ""}};
    }
    status_t record(bool on) { return pipeline->setRecord(on, -1); }

    static constexpr char kCheckedIn[] = "AudioRxEncoder";
    static constexpr size_t kStarted = 4;
    static constexpr int kUnknownCode = 2;
    static constexpr const char* kNowhere = "AudioRxEncoder.cpp:207 Should not be here.";
};

class MicrophoneStage : public LiveStage<AudioRecordEncoder> {
  public:
    MicrophoneStage() {
        oxa::host::registerMicrophone(AUDIO_SOURCE_DEFAULT, "lavfi:sine=sample_rate=48000");
    }
    static std::vector<Step> steps(MicrophoneStage* stage) {
        return {{[stage] { return stage->pipeline->setAudioSource(AUDIO_SOURCE_DEFAULT, kClient); },
                 refusalOf("mState == UNINITIALIZED")},
                {[stage] { return stage->pipeline->configure(&stage->format); },
                 refusalOf("mState == INITIALIZED || mState == STARTED"), true},
                {[stage] { return stage->pipeline->prepare(); }, refusalOf("mState == CONFIGURED")},
                {[stage] { return stage->pipeline->start(); }, refusalOf("mState == PREPARED")},
                {[stage] { return stage->pipeline->stop(); }, refusalOf("mState == STARTED")}};
    }
    status_t record(bool on) { return pipeline->setRecord(on); }

    static constexpr char kCheckedIn[] = "AudioRecordEncoder";
    static constexpr size_t kStarted = 4;
    static constexpr int kUnknownCode = 9;
    static constexpr const char* kNowhere = "AudioRecordEncoder.cpp:132 Should not be here.";
};

template <typename Stage>
class LiveStateTest : public ::testing::Test {};
template <typename Stage>
class LiveStateDeathTest : public ::testing::Test {};
using Stages = ::testing::Types<CameraStage, RxStage, MicrophoneStage>;
TYPED_TEST_SUITE(LiveStateTest, Stages);
TYPED_TEST_SUITE(LiveStateDeathTest, Stages);

TYPED_TEST(LiveStateDeathTest, OnlyTheNextStepIsAccepted) {
    expectOnlyTheNextStepIsAccepted<TypeParam>();
}

TYPED_TEST(LiveStateDeathTest, UnknownMessageCodesAbort) {
    for (const int code : {TypeParam::kUnknownCode, 0x1002}) {
        EXPECT_DEATH(
                {
                    TypeParam stage;
                    sp<AMessage> response;
                    sp<AMessage>(new AMessage(code, stage.pipeline))
                            ->postAndAwaitResponse(&response);
                },
                HasSubstr(TypeParam::kNowhere))
                << code;
    }
}

TYPED_TEST(LiveStateTest, ConfigureWhileStartedKeepsTheState) {
    TypeParam stage;
    advance(&stage, TypeParam::kStarted);
    for (const Step& step : TypeParam::steps(&stage)) {
        if (step.alsoStarted) {
            EXPECT_EQ(step.take(), OK);
        }
    }
    EXPECT_EQ(stage.pipeline->stop(), OK);
}

TYPED_TEST(LiveStateTest, ResetLeadsFromEveryStateToTheStart) {
    const size_t states = TypeParam::steps(nullptr).size();
    for (size_t state = 0; state <= states; ++state) {
        TypeParam stage;
        advance(&stage, state);
        EXPECT_EQ(stage.pipeline->reset(), OK) << "state " << state;
        EXPECT_EQ(take(&stage, 0), OK) << "state " << state;
    }
}

// Nothing waits for a muxer that does not want the track.
TYPED_TEST(LiveStateTest, ARefusedTrackIsReportedAndStopReturns) {
    TypeParam stage;
    advance(&stage, TypeParam::kStarted);
    stage.pipeline->setMuxer(new OxaMediaMuxer(-1, OxaMediaMuxer::OUTPUT_FORMAT_MPEG_4));
    ASSERT_EQ(stage.record(true), OK);
    ASSERT_TRUE(waitFor([&] { return stage.reports->count(kWhatDecodeGotEOS) > 0; }));
    EXPECT_EQ(stage.reports->count(kWhatTrackAdded), 0);
    EXPECT_EQ(stage.pipeline->stop(), OK);
}

// The muxer stays unstarted, as when the other track does not come.
TYPED_TEST(LiveStateTest, StopComesOutOfAMuxerThatNeverStarts) {
    FILE* file = tmpfile();
    {
        TypeParam stage;
        advance(&stage, TypeParam::kStarted);
        const sp<OxaMediaMuxer> muxer =
                new OxaMediaMuxer(fileno(file), OxaMediaMuxer::OUTPUT_FORMAT_MPEG_4);
        stage.pipeline->setMuxer(muxer);
        ASSERT_EQ(stage.record(true), OK);
        EXPECT_EQ(stage.record(true), OK) << "a second switch-on changes nothing";
        ASSERT_TRUE(waitFor([&] { return stage.reports->count(kWhatTrackAdded) > 0; }));
        // As the player does before it stops its pipelines.
        muxer->openGate();
        EXPECT_EQ(stage.pipeline->stop(), OK);
        EXPECT_FALSE(muxer->isStarted());
        EXPECT_EQ(stage.reports->count(kWhatTrackAdded), 1);
    }
    fclose(file);
}

// ---- Camera ------------------------------------------------------------------------------------

TEST(CameraRecorderDeathTest, ACameraThatIsNotThereIsFatal) {
    for (const int camera : {-1, 2, 7}) {
        EXPECT_DEATH(CameraStage().pipeline->setDataSource(kUsbCamera, camera, kClient),
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
        options.source = graph("sine=sample_rate=48000");
        std::string error;
        mReceiver = oxa::host::SimulatedHdmiReceiver::create(options, &error);
        EXPECT_NE(mReceiver, nullptr) << error;
    }
    ~HdmiStage() {
        HdmiRxInfo::DelInstance();
        setDeviceRoot("");
    }
    std::string parameters() {
        sp<AMessage> response;
        AString text;
        sp<AMessage>(new AMessage(CameraRecorder::kWhatGetCameraParam, pipeline))
                ->postAndAwaitResponse(&response);
        EXPECT_TRUE(response->findString(AMSG_CAMERA_PARAM, &text));
        return text.c_str();
    }

  private:
    const TempDir mRoot;
    std::unique_ptr<oxa::host::SimulatedHdmiReceiver> mReceiver;
};

struct PrepareCase {
    const char* name;
    bool hdmi;
    int width;
    int height;
    int frameRate;
    status_t expected;
};
void PrintTo(const PrepareCase& value, std::ostream* out) {
    *out << value.name;
}

class CameraPrepareTest : public ::testing::TestWithParam<PrepareCase> {
  protected:
    static void expectPrepares(CameraStage* stage) {
        stage->format.width = GetParam().width;
        stage->format.height = GetParam().height;
        stage->format.frameRate = GetParam().frameRate;
        advance(stage, CameraStage::kPrepare);
        EXPECT_EQ(stage->pipeline->prepare(), GetParam().expected);
        if (GetParam().expected == OK) return;
        EXPECT_EQ(stage->pipeline->prepare(), GetParam().expected) << "it may be tried again";
    }
};

TEST_P(CameraPrepareTest, TellsWhetherTheCameraHasTheFormat) {
    if (GetParam().hdmi) {
        HdmiStage stage;
        expectPrepares(&stage);
    } else {
        CameraStage stage;
        expectPrepares(&stage);
    }
}

INSTANTIATE_TEST_SUITE_P(
        Formats, CameraPrepareTest,
        ::testing::Values(PrepareCase{"Own", false, kWidth, kHeight, 30, OK},
                          PrepareCase{"OtherSize", false, 123, 45, 30, BAD_VALUE},
                          PrepareCase{"NoSize", false, 0, 0, 30, BAD_VALUE},
                          PrepareCase{"OtherRate", false, kWidth, kHeight, 29, OK},
                          PrepareCase{"HdmiLarger", true, 1920, 1080, 30, OK},
                          PrepareCase{"HdmiSlower", true, kWidth, kHeight, 10, OK},
                          PrepareCase{"HdmiFaster", true, kWidth, kHeight, 31, BAD_VALUE},
                          PrepareCase{"HdmiTwiceAsFast", true, kWidth, kHeight, 60, BAD_VALUE},
                          PrepareCase{"HdmiNoSize", true, 0, 0, 30, BAD_VALUE}),
        [](const auto& info) { return info.param.name; });

TEST(CameraRecorderTest, TheReceiversPreviewIsNoLargerThanItsPictureAndRunsAt30) {
    HdmiStage stage;
    stage.format.width = 1920;
    stage.format.height = 1080;
    stage.format.frameRate = 15;
    advance(&stage, CameraStage::kPrepare + 1);
    const std::string parameters = ";" + stage.parameters() + ";";
    EXPECT_NE(parameters.find(";preview-size=160x120;"), std::string::npos) << parameters;
    EXPECT_NE(parameters.find(";preview-frame-rate=30;"), std::string::npos) << parameters;
}

TEST(CameraRecorderTest, WithoutACameraNothingIsPreparedOrStarted) {
    CameraStage stage;
    oxa::host::clearCameras();
    stage.type = kHdmiRx;
    // Another number than the kernel's cameras have, if there are any.
    oxa::host::registerCamera(5, graph());
    advance(&stage, CameraStage::kPrepare);
    EXPECT_EQ(stage.pipeline->prepare(), NO_INIT);
}

TEST(CameraRecorderTest, ANegativeBitRateIsWrittenBack) {
    CameraStage stage;
    stage.format.bitRate = -1;
    advance(&stage, CameraStage::kStarted);
    ASSERT_EQ(stage.pipeline->setRecord(1), OK);
    EXPECT_EQ(stage.format.bitRate, kWidth * kHeight * 15);
    EXPECT_EQ(stage.pipeline->stop(), OK);
}

// ---- Microphone --------------------------------------------------------------------------------

TEST(AudioRecordEncoderDeathTest, BadArgumentsAreFatal) {
    for (const int channels : {0, 3}) {
        EXPECT_DEATH(
                {
                    MicrophoneStage stage;
                    stage.format.channelCount = channels;
                    advance(&stage, 2);
                },
                HasSubstr(refusalOf("mChannelCount == 1 || mChannelCount == 2")))
                << channels;
    }
    EXPECT_DEATH(MicrophoneStage().pipeline->setAudioSource(1000, kClient),
                 HasSubstr(refusalOf("mAudioSource >= AUDIO_SOURCE_DEFAULT && mAudioSource <= "
                                     "AUDIO_SOURCE_MAX")));
}

}  // namespace
}  // namespace android
