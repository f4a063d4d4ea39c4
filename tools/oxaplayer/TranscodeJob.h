// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <OxaMediaCodecPlayer.h>

#include <memory>
#include <optional>

#include "Arguments.h"
#include "EventQueue.h"
#include "ExitCode.h"
#include "FaultWarnings.h"
#include "InputFile.h"
#include "OutputFile.h"
#include "Progress.h"
#include "Report.h"
#include "SourceTracks.h"

namespace oxaplayer {

// One run of the player over one file, from its first call to its last. Everything happens on the
// caller's thread; what other threads have to say comes through the queue.
class TranscodeJob {
  public:
    struct Work {
        const InputFile& input;
        const OutputFile& output;
        Container container;
        const SourceTrack* video;  // null: not processed
        const SourceTrack* audio;
        android::_AV_FORMAT_FORMAT targetFormat;
    };

    // `queue` receives the end of the job and its faults; an Interrupted in it ends the job.
    TranscodeJob(const Work& work, std::shared_ptr<EventQueue> queue, Report* report);

    // Returns when the output is complete and closed by the player, or as far as it came. Nothing
    // when all went well, or when the job was interrupted; otherwise the first thing that failed.
    std::optional<Failure> run();

    // Whether an interrupt has made the output shorter.
    bool wasInterrupted() const { return mInterrupted && !mDrained; }
    // Whether nothing moved any more. What hangs cannot be stopped either: the player is left
    // alone, and the process has to end without waiting for its threads.
    bool hasStalled() const { return mStalled; }
    // Whether any sample has reached the output.
    bool hasOutput() const;
    // What was done in all; rates are those of the whole job.
    ProgressNumbers numbers() const { return mMeter.overall(mSample); }
    // The time of the last sample that was written.
    int64_t lastTimeUs() const;

  private:
    std::optional<Failure> start();
    void waitForEnd();
    void drain();
    void handle(const JobEvent& event);
    void handleFault(const oxa::host::Fault& fault);
    void handlePending();
    void updateProgress();
    int64_t completeTimeUs() const;
    void watch();
    void fail(ExitCode code, const std::string& text);

    Work mWork;
    const std::shared_ptr<EventQueue> mQueue;
    Report* const mReport;
    android::sp<android::OxaMediaCodecPlayer> mPlayer;
    FaultWarnings mWarnings;
    ProgressMeter mMeter;
    ProgressSample mSample;
    android::_TRANSCODE_PROGRESS mWritten;
    int64_t mLastWatchUs;
    int64_t mIdleUs = 0;
    bool mEnded = false;    // the source is read
    bool mDrained = false;  // all of it is with the muxer
    bool mInterrupted = false;
    bool mStalled = false;
    std::optional<Failure> mFailure;
};

}  // namespace oxaplayer
