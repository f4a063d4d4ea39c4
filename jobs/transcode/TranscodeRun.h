// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/OutputEnd.h>

#include <memory>
#include <optional>

#include "files/InputFile.h"
#include "files/OutputFile.h"
#include "oxa/jobs/EncodeOptions.h"
#include "oxa/jobs/Track.h"
#include "run/PlayerRun.h"
#include "run/ProgressMeter.h"

namespace oxa::jobs {

// One run of the player over one file. It is over when the output is complete and closed by the
// player, or as far as it came; being cancelled is no failure.
class TranscodeRun : public PlayerRun {
  public:
    struct Work {
        const InputFile& input;
        const OutputFile& output;
        Container container;
        const Track* video;  // null: not processed
        const Track* audio;
        android::_AV_FORMAT_FORMAT targetFormat;
        bool strict;
    };

    // A Cancelled in the queue ends the run.
    TranscodeRun(const Work& work, JobContext& context);

    // Whether a cancel has made the output shorter.
    bool wasShortened() const { return mCancelled && !mDrained; }
    // Whether any sample has reached the output; of one that was shortened, whether it is worth
    // keeping: a picture with the sound that belongs to it, or a second of sound alone.
    bool hasOutput() const;
    // What was done in all; rates are those of the whole job.
    Progress total() const { return mMeter.overall(mSample); }
    // The end of what was written, and the length of its sound.
    int64_t endUs() const;
    int64_t soundUs() const;

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
    android::_TRANSCODE_PROGRESS mWritten;              // as the player has pushed it
    std::optional<host::OutputFigures> mOutputFigures;  // as it is in the output
    IdleWatch mIdleWatch;
    bool mEnded = false;    // the source is read
    bool mDrained = false;  // all of it is with the muxer
    bool mStalled = false;
};

}  // namespace oxa::jobs
