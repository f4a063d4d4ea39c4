// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/OutputEnd.h>

#include <memory>
#include <optional>

#include "Arguments.h"
#include "Job.h"
#include "OutputFile.h"
#include "Progress.h"
#include "files/InputFile.h"
#include "tracks/SourceTracks.h"

namespace oxaplayer {

// One run of the player over one file. It is over when the output is complete and closed by the
// player, or as far as it came; being interrupted is no failure.
class TranscodeJob : public Job {
  public:
    struct Work {
        const InputFile& input;
        const OutputFile& output;
        Container container;
        const Track* video;  // null: not processed
        const Track* audio;
        android::_AV_FORMAT_FORMAT targetFormat;
    };

    // An Interrupted in the queue ends the job.
    TranscodeJob(const Work& work, std::shared_ptr<EventQueue> queue, Report* report);

    // Whether an interrupt has made the output shorter.
    bool wasInterrupted() const { return mInterrupted && !mDrained; }
    // Whether nothing moved any more. What hangs cannot be stopped either: the player is left
    // alone, and the process has to end without waiting for its threads.
    bool hasStalled() const { return mStalled; }
    // Whether any sample has reached the output; of a job that was interrupted, whether it is worth
    // keeping: a picture with the sound that belongs to it, or a second of sound alone.
    bool hasOutput() const;
    // What was done in all; rates are those of the whole job.
    ProgressNumbers numbers() const { return mMeter.overall(mSample); }
    // The end of what was written.
    int64_t endUs() const;

  private:
    std::optional<Failure> start() override;
    void waitForEnd() override;
    void finish() override;
    void handle(const JobEvent& event) override;
    void drain();
    void updateProgress();
    int64_t completeTimeUs() const;
    void watch();

    Work mWork;
    ProgressMeter mMeter;
    ProgressSample mSample;
    android::_TRANSCODE_PROGRESS mWritten;                   // as the player has pushed it
    std::optional<oxa::host::OutputFigures> mOutputFigures;  // as it is in the output
    IdleWatch mIdleWatch;
    bool mEnded = false;    // the source is read
    bool mDrained = false;  // all of it is with the muxer
    bool mStalled = false;
};

}  // namespace oxaplayer
