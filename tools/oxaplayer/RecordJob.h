// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <OxaMediaCodecPlayer.h>

#include <memory>
#include <optional>
#include <string>

#include "Arguments.h"
#include "CaptureSource.h"
#include "EventQueue.h"
#include "ExitCode.h"
#include "FaultWarnings.h"
#include "OutputFile.h"
#include "PlayOutputs.h"
#include "Progress.h"
#include "Report.h"

namespace oxaplayer {

// One recording of a live source, from the player's first call to its last. Everything happens on
// the caller's thread; what other threads have to say comes through the queue.
class RecordJob {
  public:
    struct Work {
        const CaptureSource& source;
        const PlayOutputs& preview;
        OutputFile& output;
        Container container;
        android::_AV_FORMAT_FORMAT targetFormat;
        int32_t frameRate;                  // to be expected
        std::optional<int64_t> durationUs;  // not given: until source or user end it
        bool isPreviewed;
        bool isMonitored;
    };

    // `queue` receives faults; an Interrupted or Closed in it ends the recording.
    RecordJob(const Work& work, std::shared_ptr<EventQueue> queue, Report* report);

    // Returns when the recording has ended and its output is closed by the player. Nothing unless
    // something failed; what was recorded before that is good.
    std::optional<Failure> run();

    // Whether Ctrl-C or SIGTERM has ended it.
    bool wasInterrupted() const { return mInterrupted; }
    // Whether it is shorter than what was asked for.
    bool isShort() const;
    // Whether any sample has reached the output.
    bool hasOutput() const;
    ProgressNumbers numbers() const { return mMeter.overall(mSample); }
    // The time of the last sample that was written.
    int64_t lastTimeUs() const;
    // Pictures that were lost between the camera and the encoder.
    int64_t droppedFrames() const;

  private:
    std::optional<Failure> start();
    void waitForEnd();
    int64_t waitUs() const;
    int64_t missingUs() const;
    void handle(const JobEvent& event);
    void handleFault(const oxa::host::Fault& fault);
    void handleSoundFault(const oxa::host::Fault& fault);
    void handlePending();
    void updateStatus();
    void warnOfLostSound();
    void watch();
    void fail(ExitCode code, const std::string& text);

    Work mWork;
    const std::shared_ptr<EventQueue> mQueue;
    Report* const mReport;
    android::sp<android::OxaMediaCodecPlayer> mPlayer;
    FaultWarnings mWarnings;
    ProgressMeter mMeter;
    ProgressSample mSample;
    android::_RECORDING_PROGRESS mRecorded;
    int64_t mLastWatchUs;
    int64_t mIdleUs = 0;
    bool mEnded = false;  // by its source, its duration or its user
    bool mInterrupted = false;
    bool mComplete = false;  // the duration was reached
    std::optional<Failure> mFailure;
};

}  // namespace oxaplayer
