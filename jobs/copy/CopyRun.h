// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <optional>

#include "copy/CopyTask.h"
#include "files/OutputFile.h"
#include "run/FaultWarnings.h"
#include "run/IdleWatch.h"
#include "run/JobContext.h"
#include "run/ProgressMeter.h"

namespace oxa::jobs {

// Copies the samples of one file or more into one. A thread of its own reads and writes; the
// caller's watches it, and leaves it behind when it hangs.
class CopyRun {
  public:
    struct Work {
        CopyTask::Work copy;
        const OutputFile& output;
        int64_t durationUs;  // 0: not known
    };

    // A Cancelled in the queue ends the run.
    CopyRun(Work work, JobContext& context);

    // Returns when the output is complete and closed, or as far as it came; being cancelled is no
    // failure.
    std::optional<Failure> run();

    bool wasShortened() const { return mCancelled && !mTask->isComplete(); }
    // Whether there is anything in the output; of one that was shortened, whether it is worth
    // keeping: a picture, or a second of sound alone.
    bool hasOutput() const;
    uint64_t damaged() const { return mWarnings.damaged(); }
    Progress total() const { return mMeter.overall(mSample); }
    const host::OutputFigures& figures() const { return mTask->figures(); }

  private:
    void waitForEnd();
    void handle(const JobEvent& event);
    void updateProgress();
    void fail(const Failure& failure);

    const OutputFile& mOutput;
    JobContext& mContext;
    FaultWarnings mWarnings;
    const std::shared_ptr<CopyTask> mTask;
    ProgressMeter mMeter;
    ProgressSample mSample;
    IdleWatch mIdleWatch;
    bool mCancelled = false;
    bool mEnded = false;  // the task
    std::optional<Failure> mFailure;
};

}  // namespace oxa::jobs
