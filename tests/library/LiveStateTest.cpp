// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <oxa/host/Cameras.h>
#include <oxa/host/Display.h>
#include <oxa/host/HdmiReceiver.h>
#include <oxa/host/Microphones.h>
#include <oxa/host/SoundOutput.h>
#include <system/audio.h>

#include <atomic>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "AudioRecordEncoder.h"
#include "AudioRxEncoder.h"
#include "CameraRecorder.h"
#include "HdmiRxInfo.h"
#include "support/Deadline.h"
#include "support/TempDir.h"

namespace android {
namespace {

using oxa::test::TempDir;
using oxa::test::waitFor;

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

// A text as a regular expression that matches nothing else.
std::string literally(const std::string& text) {
    std::string expression;
    for (const char c : text) {
        if (std::string("()|.[]{}*+?^$\\").find(c) != std::string::npos) expression += '\\';
        expression += c;
    }
    return expression;
}

// Stands in for the player: counts what a pipeline reports.
class Reports : public AHandler {
  public:
    void onMessageReceived(const sp<AMessage>& msg) override {
        if (msg->what() == kWhatDecodeGotEOS) ++refusals;
        if (msg->what() == kWhatTrackAdded) ++tracks;
    }
    std::atomic<int> refusals{0};
    std::atomic<int> tracks{0};
};

// One live pipeline on a looper, with somebody to report to.
template <typename Pipeline>
class LiveStage {
  public:
    LiveStage() {
        mReportLooper->registerHandler(reports);
        mReportLooper->start();
        mLooper->registerHandler(pipeline);
        mLooper->start();
        pipeline->mPlayerHandler = reports;
        pipeline->mStatusHandler = reports;
        oxa::host::useNullSound();
    }
    ~LiveStage() {
        pipeline->reset();
        pipeline->cleanup();
        mLooper->unregisterHandler(pipeline->id());
        mLooper->stop();
        mReportLooper->unregisterHandler(reports->id());
        mReportLooper->stop();
        oxa::host::clearCameras();
        oxa::host::clearMicrophones();
    }

    sp<Pipeline> pipeline = new Pipeline;
    sp<Reports> reports = new Reports;
    _AV_FORMAT_FORMAT format = smallTarget();

  private:
    sp<ALooper> mLooper = new ALooper;
    sp<ALooper> mReportLooper = new ALooper;
};

struct Step {
    std::function<status_t()> take;
    const char* condition;  // of its check; null: it is accepted in every state
    bool alsoStarted = false;
};

class CameraStage : public LiveStage<CameraRecorder> {
  public:
    CameraStage() { oxa::host::registerCamera(0, graph()); }
    std::vector<Step> steps() {
        return {{[this] { return pipeline->setDataSource(type, 0, kClient); },
                 "mState == UNINITIALIZED"},
                {[this] { return pipeline->setSurface(new Surface(mDisplay->producer(), false)); },
                 "mState == WAIT_SURFACE"},
                {[this] { return pipeline->configure(format); },
                 "mState == INITIALIZED || mState == STARTED", true},
                {[this] { return pipeline->prepare(); }, "mState == CONFIGURED"},
                {[this] { return pipeline->start(); }, "mState == PREPARED"},
                {[this] { return pipeline->stop(); }, "mState == STARTED"}};
    }
    status_t record(bool on) { return pipeline->setRecord(on); }

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
    std::vector<Step> steps() {
        return {{[this] { return pipeline->setAudioSource(0); }, "mState == UNINITIALIZED"},
                {[this] { return pipeline->configure(&format); },
                 "mState == INITIALIZED || mState ==STARTED", true},
                {[this] { return pipeline->prepare(); }, "mState == CONFIGURED"},
                {[this] { return pipeline->start(-1); }, "mState == PREPARED"},
                {[this] { return pipeline->stop(); }, nullptr}};
    }
    status_t record(bool on) { return pipeline->setRecord(on, -1); }

    static constexpr size_t kStarted = 4;
    static constexpr int kUnknownCode = 2;
    static constexpr const char* kNowhere = "AudioRxEncoder.cpp:207 Should not be here.";
};

class MicrophoneStage : public LiveStage<AudioRecordEncoder> {
  public:
    MicrophoneStage() {
        oxa::host::registerMicrophone(AUDIO_SOURCE_DEFAULT, "lavfi:sine=sample_rate=48000");
    }
    std::vector<Step> steps() {
        return {{[this] { return pipeline->setAudioSource(AUDIO_SOURCE_DEFAULT, kClient); },
                 "mState == UNINITIALIZED"},
                {[this] { return pipeline->configure(&format); },
                 "mState == INITIALIZED || mState == STARTED", true},
                {[this] { return pipeline->prepare(); }, "mState == CONFIGURED"},
                {[this] { return pipeline->start(); }, "mState == PREPARED"},
                {[this] { return pipeline->stop(); }, "mState == STARTED"}};
    }
    status_t record(bool on) { return pipeline->setRecord(on); }

    static constexpr size_t kStarted = 4;
    static constexpr int kUnknownCode = 9;
    static constexpr const char* kNowhere = "AudioRecordEncoder.cpp:132 Should not be here.";
};

template <typename Stage>
void advance(Stage* stage, size_t count) {
    auto all = stage->steps();
    for (size_t i = 0; i < count; ++i)
        ASSERT_EQ(all[i].take(), OK) << "step " << i;
}

template <typename Stage>
class LiveStateTest : public ::testing::Test {};
using Stages = ::testing::Types<CameraStage, RxStage, MicrophoneStage>;
TYPED_TEST_SUITE(LiveStateTest, Stages);

// In each state every step but the next is refused with its own condition.
TYPED_TEST(LiveStateTest, OnlyTheNextStepIsAccepted) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::vector<Step> steps = TypeParam().steps();
    for (size_t state = 0; state <= steps.size(); ++state) {
        for (size_t step = 0; step < steps.size(); ++step) {
            const bool accepted = step == state || steps[step].condition == nullptr ||
                                  (steps[step].alsoStarted && state == TypeParam::kStarted);
            if (accepted) continue;
            EXPECT_DEATH(
                    {
                        TypeParam stage;
                        advance(&stage, state);
                        stage.steps()[step].take();
                    },
                    literally(std::string("CHECK(") + steps[step].condition + ") failed."))
                    << "state " << state << ", step " << step;
        }
    }
}

TYPED_TEST(LiveStateTest, ConfigureWhileStartedKeepsTheState) {
    TypeParam stage;
    advance(&stage, TypeParam::kStarted);
    for (const Step& step : stage.steps()) {
        if (step.alsoStarted) {
            EXPECT_EQ(step.take(), OK);
        }
    }
    EXPECT_EQ(stage.pipeline->stop(), OK);
}

TYPED_TEST(LiveStateTest, ResetLeadsFromEveryStateToTheStart) {
    const size_t states = TypeParam().steps().size();
    for (size_t state = 0; state <= states; ++state) {
        TypeParam stage;
        advance(&stage, state);
        EXPECT_EQ(stage.pipeline->reset(), OK) << "state " << state;
        EXPECT_EQ(stage.steps()[0].take(), OK) << "state " << state;
    }
}

TYPED_TEST(LiveStateTest, UnknownMessageCodesAbort) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const int code : {TypeParam::kUnknownCode, 0x1002}) {
        EXPECT_DEATH(
                {
                    TypeParam stage;
                    sp<AMessage> response;
                    sp<AMessage>(new AMessage(code, stage.pipeline))
                            ->postAndAwaitResponse(&response);
                },
                literally(TypeParam::kNowhere))
                << code;
    }
}

// Nothing waits for a muxer that does not want the track.
TYPED_TEST(LiveStateTest, ARefusedTrackIsReportedAndStopReturns) {
    TypeParam stage;
    advance(&stage, TypeParam::kStarted);
    stage.pipeline->setMuxer(new OxaMediaMuxer(-1, OxaMediaMuxer::OUTPUT_FORMAT_MPEG_4));
    ASSERT_EQ(stage.record(true), OK);
    ASSERT_TRUE(waitFor([&] { return stage.reports->refusals > 0; }));
    EXPECT_EQ(stage.reports->tracks, 0);
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
        ASSERT_TRUE(waitFor([&] { return stage.reports->tracks > 0; }));
        // As the player does before it stops its pipelines.
        muxer->openGate();
        EXPECT_EQ(stage.pipeline->stop(), OK);
        EXPECT_FALSE(muxer->isStarted());
        EXPECT_EQ(stage.reports->tracks, 1);
    }
    fclose(file);
}

// ---- Camera ------------------------------------------------------------------------------------

TEST(CameraRecorderTest, ACameraThatIsNotThereIsFatal) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const int camera : {-1, 2, 7}) {
        EXPECT_DEATH(CameraStage().pipeline->setDataSource(kUsbCamera, camera, kClient),
                     literally("CHECK(mCameraId >= 0 && mCameraId < numCamera) failed."))
                << camera;
    }
    EXPECT_DEATH(
            {
                CameraStage stage;
                advance(&stage, 1);
                stage.pipeline->setSurface(NULL);
            },
            literally("CHECK(mSurface != NULL) failed."));
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

TEST(AudioRecordEncoderTest, BadArgumentsAreFatal) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const int channels : {0, 3}) {
        EXPECT_DEATH(
                {
                    MicrophoneStage stage;
                    stage.format.channelCount = channels;
                    advance(&stage, 2);
                },
                literally("CHECK(mChannelCount == 1 || mChannelCount == 2) failed."))
                << channels;
    }
    EXPECT_DEATH(MicrophoneStage().pipeline->setAudioSource(1000, kClient),
                 literally("CHECK(mAudioSource >= AUDIO_SOURCE_DEFAULT && mAudioSource <= "
                           "AUDIO_SOURCE_MAX) failed."));
}

}  // namespace
}  // namespace android
