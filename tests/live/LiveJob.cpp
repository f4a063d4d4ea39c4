// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "live/LiveJob.h"

#include <android/log.h>
#include <camera/Camera.h>
#include <oxa/host/Cameras.h>
#include <oxa/host/Microphones.h>
#include <oxa/host/SoundOutput.h>
#include <system/audio.h>

#include <filesystem>

namespace oxa::test {

using namespace android;

namespace {

constexpr int32_t kOutputFile = 0;
constexpr int32_t kOutputDescriptor = 7;
constexpr int32_t kMpeg2Ts = 0;
constexpr int32_t kMpeg4 = 1;
constexpr std::chrono::seconds kLongestRecording{60};
constexpr char kPictures[] = "/storage/emulated/0/Pictures";
// Switches the platform's encoder to what a busy machine can do in real time.
constexpr int32_t kBitRate = 1'000'000;

LiveOptions completed(LiveOptions options) {
    if (options.source.empty()) {
        options.source = options.hdmi ? flashesAndBeeps() : "testsrc2=size=320x240:rate=30";
    }
    if (options.microphone.empty()) options.microphone = "sine=frequency=440:sample_rate=48000";
    return options;
}

}  // namespace

std::string flashesAndBeeps(int sampleRate) {
    return kFlashes + ("[out0];" + beeps(sampleRate)) + "[out1]";
}

std::string beeps(int sampleRate) {
    const std::string beep = "if(lt(mod(t+0.5,1),0.1),0.5*sin(2*PI*1000*t),0)";
    return "aevalsrc='" + beep + "|" + beep + "':s=" + std::to_string(sampleRate);
}

LiveJob::LiveJob(const LiveOptions& options)
    : mOptions(completed(options)),
      mDisplay(oxa::host::createRecordingDisplay()),
      mPlayer(new OxaMediaCodecPlayer(true, options.onlyTrack)) {
    // Thousands of lines that say that all is well hide the one that does not.
    __android_log_set_minimum_priority(ANDROID_LOG_WARN);
    std::filesystem::create_directories(mDeviceRoot.path() + kPictures);
    setDeviceRoot(mDeviceRoot.path().c_str());
    oxa::host::useNullSound();
    mPlayer->mStatusHandler = mReports;
}

LiveJob::~LiveJob() {
    cleanUp();
    mReceiver.reset();
    oxa::host::clearCameras();
    oxa::host::clearMicrophones();
    setDeviceRoot("");
}

void LiveJob::makeSource() {
    if (!mOptions.hdmi) {
        ASSERT_TRUE(oxa::host::registerCamera(0, "lavfi:" + mOptions.source));
        ASSERT_TRUE(oxa::host::registerMicrophone(AUDIO_SOURCE_DEFAULT,
                                                  "lavfi:" + mOptions.microphone));
        return;
    }
    oxa::host::HdmiReceiverOptions receiver;
    receiver.deviceRoot = mDeviceRoot.path();
    receiver.source = "lavfi:" + mOptions.source;
    receiver.sampleRate = mOptions.signalRate;
    std::string error;
    mReceiver = oxa::host::SimulatedHdmiReceiver::create(receiver, &error);
    ASSERT_NE(mReceiver, nullptr) << error;
    if (!mOptions.signalHasSound) mReceiver->loseAudio();
}

void LiveJob::start() {
    ASSERT_NO_FATAL_FAILURE(prepare());
    run();
}

void LiveJob::prepare() {
    ASSERT_NO_FATAL_FAILURE(makeSource());
    mFormat.width = mOptions.width;
    mFormat.height = mOptions.height;
    mFormat.frameRate = mOptions.frameRate;
    mFormat.bitRate = kBitRate;
    mFormat.iFrameInterval = 1;
    mFormat.deinterlace = -1;
    mFormat.channelCount = 2;
    mFormat.sampleRate = mOptions.sampleRate;
    ASSERT_EQ(mPlayer->initiate(mOptions.hdmi ? SourceTypeHdmiRx : SourceTypeUsbCamera, true, true),
              OK);
    ASSERT_NO_FATAL_FAILURE(setCamera());
    ASSERT_EQ(mPlayer->setAudioSource(AUDIO_SOURCE_DEFAULT), OK);
    ASSERT_EQ(mPlayer->setSurface(mDisplay->producer()), OK);
    ASSERT_EQ(setOutput(mOptions.output), OK);
    ASSERT_EQ(mPlayer->setTargetFormat(mFormat), OK);
    ASSERT_EQ(mPlayer->prepare(), OK);
}

status_t LiveJob::setOutput(const std::string& name) {
    _OxaTranscodeConfig config = {};
    config.type = mOptions.outputDescriptor >= 0 ? kOutputDescriptor : kOutputFile;
    config.fmt = std::filesystem::path(name).extension() == ".ts" ? kMpeg2Ts : kMpeg4;
    config.fileDesc = mOptions.outputDescriptor;
    config.fileName = name.c_str();
    return mPlayer->setMuxer(config);
}

void LiveJob::setCamera() {
    const String16 client("live-test");
    if (!mOptions.sharedCamera) {
        ASSERT_EQ(mPlayer->setCameraSource(0, client), OK);
        return;
    }
    const sp<Camera> camera =
            Camera::connect(0, client, Camera::USE_CALLING_UID, Camera::USE_CALLING_PID);
    ASSERT_NE(camera, nullptr);
    ASSERT_EQ(camera->unlock(), OK);
    ASSERT_EQ(mPlayer->setCameraSource(camera->remote()), OK);
}

void LiveJob::run() {
    ASSERT_EQ(mPlayer->start(), OK);
}

void LiveJob::setRecording(bool on) {
    ASSERT_EQ(mPlayer->setTranscode(on), OK);
}

double LiveJob::recordedSeconds() {
    _RECORDING_PROGRESS progress;
    EXPECT_EQ(mPlayer->getRecordingProgress(&progress), OK);
    const bool ofSound = mOptions.onlyTrack == CODEC_AUDIO_ONLY;
    return (ofSound ? progress.audioTimeUs : progress.videoTimeUs) / 1e6;
}

uint64_t LiveJob::lostPictures() const {
    const oxa::host::CameraFigures figures = oxa::host::cameraFigures(0);
    return figures.recordingDropped + figures.late;
}

void LiveJob::waitForRecorded(double seconds) {
    ASSERT_TRUE(waitFor([&] { return recordedSeconds() >= seconds; },
                        kLongestRecording + std::chrono::seconds(std::lround(seconds))))
            << "nothing comes any more";
}

void LiveJob::recordAnew(std::chrono::milliseconds pause) {
    const double before = recordedSeconds();
    ASSERT_NO_FATAL_FAILURE(setRecording(false));
    std::this_thread::sleep_for(pause);
    ASSERT_NO_FATAL_FAILURE(setRecording(true));
    // The figure of the former recording stays until there is another one.
    ASSERT_TRUE(waitFor([&] { return recordedSeconds() < before; }, kLongestRecording))
            << "no recording has begun";
}

void LiveJob::stop() {
    EXPECT_EQ(mPlayer->stop(), OK);
}

void LiveJob::cleanUp() {
    EXPECT_EQ(mPlayer->cleanup(), OK);
}

std::vector<std::string> LiveJob::defaultRecordings() const {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(mDeviceRoot.path() + kPictures))
        files.push_back(entry.path());
    // The names tell the time.
    std::sort(files.begin(), files.end());
    return files;
}

int LiveJob::hotplugState() const {
    const auto states = mReports->items(&AMessage::findInt32, "rx-video");
    return states.empty() ? -1 : states.back();
}

}  // namespace oxa::test
