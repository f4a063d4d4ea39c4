// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <OxaMediaCodecPlayer.h>
#include <oxa/host/Display.h>
#include <oxa/host/HdmiReceiver.h>

#include "support/Reports.h"
#include "support/Test.h"

namespace oxa::test {

struct LiveOptions {
    bool hdmi = true;  // else a USB camera
    // Filter graphs, empty: some. A receiver's has outputs for picture and sound, a USB camera has
    // the microphone beside it.
    std::string source;
    std::string microphone;
    bool sharedCamera = false;  // a client connects to the camera and hands it over
    int onlyTrack = 0;          // or CODEC_AUDIO_ONLY, CODEC_VIDEO_ONLY
    int width = 320;
    int height = 240;
    int frameRate = 30;
    int sampleRate = 48000;      // of the recording
    int signalRate = 48000;      // what a receiver tells of its sound
    bool signalHasSound = true;  // a receiver's
    // Empty: the default name under the device root.
    std::string output;
    int outputDescriptor = -1;  // the output in place of a name; stays the caller's
};

// White flashes of 100 ms and beeps (1 kHz) that begin with them, one each second, for ever, as
// filter graphs; flashesAndBeeps() has both outputs.
constexpr char kFlashes[] =
        "color=black:size=320x240:rate=30,drawbox=color=white:t=fill:"
        "enable='lt(mod(t+0.5,1),0.1)'";
std::string beeps(int sampleRate = 48000);
std::string flashesAndBeeps(int sampleRate = 48000);

// With the usual signal of that source.
inline LiveOptions sourceOf(bool hdmi) {
    LiveOptions options;
    options.hdmi = hdmi;
    return options;
}

// A live source and its recorder, through the library's public class as a client drives it, with a
// device root of its own. Each call fails the test if the player refuses it. One at a time.
class LiveJob {
  public:
    explicit LiveJob(const LiveOptions& options);
    // Cleans up.
    ~LiveJob();
    LiveJob(const LiveJob&) = delete;
    LiveJob& operator=(const LiveJob&) = delete;

    // From nothing to a running preview; start() is all of it, prepare() all but the start.
    void start();
    void prepare();
    void run();
    void setRecording(bool on);
    // A file; what the player answers.
    android::status_t setOutput(const std::string& name);
    // Until so much is with the muxer.
    void waitForRecorded(double seconds);
    // Of the present recording or the last one, negative before its first sample; of the sound
    // where nothing else is recorded.
    double recordedSeconds();
    // Pictures of the source that this machine was too slow for.
    uint64_t lostPictures() const;
    // Switches recording off, waits so long, and on again, until the new recording has begun.
    void recordAnew(std::chrono::milliseconds pause);
    void stop();
    void cleanUp();

    android::OxaMediaCodecPlayer& player() { return *mPlayer; }
    // Null for a USB camera.
    oxa::host::SimulatedHdmiReceiver* receiver() { return mReceiver.get(); }
    const oxa::host::RecordingDisplay& display() const { return *mDisplay; }
    // Recordings with default names, the oldest first.
    std::vector<std::string> defaultRecordings() const;
    // The last plug state that the client's handler was told; -1: none.
    int hotplugState() const;

  private:
    void makeSource();
    void setCamera();

    const LiveOptions mOptions;
    const TempDir mDeviceRoot;
    std::unique_ptr<oxa::host::SimulatedHdmiReceiver> mReceiver;
    const std::unique_ptr<oxa::host::RecordingDisplay> mDisplay;
    const android::sp<android::Reports> mReports = new android::Reports;
    const android::OwnLooper mReportLooper{mReports};
    const android::sp<android::OxaMediaCodecPlayer> mPlayer;
    android::_AV_FORMAT_FORMAT mFormat = {};
};

}  // namespace oxa::test
