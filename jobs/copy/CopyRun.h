// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/TrackCopy.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "files/OutputFile.h"
#include "oxa/jobs/OutputOptions.h"
#include "run/FaultWarnings.h"
#include "run/IdleWatch.h"
#include "run/JobContext.h"
#include "run/ProgressMeter.h"

namespace oxa::jobs {

// Copies the samples of one file or more into one. A thread of its own reads and writes; the
// caller's watches it.
class CopyRun {
  public:
    struct Part {
        std::string path;
        std::unique_ptr<host::CopyInput> input;
    };
    // Opens the part with this number; what it answers is the failure of the run.
    using OpenPart = std::function<std::optional<Failure>(size_t number, Part* part)>;
    struct Work {
        const OutputFile& output;
        Container container;
        size_t parts;
        OpenPart openPart;
        std::unique_ptr<host::CopyInput> sound;  // null: that of the parts
        int64_t durationUs;                      // 0: not known
    };

    // A Cancelled in the queue ends the run.
    CopyRun(Work work, JobContext& context);

    // Returns when the output is complete and closed, or as far as it came; being cancelled is no
    // failure.
    std::optional<Failure> run();

    bool wasShortened() const { return mCancelled && !mIsComplete; }
    // Whether there is anything in the output; of one that was shortened, whether it is worth
    // keeping: a picture, or a second of sound alone.
    bool hasOutput() const;
    uint64_t damaged() const { return mWarnings.damaged(); }
    Progress total() const { return mMeter.overall(mSample); }
    const host::OutputFigures& figures() const { return mCopy.figures(); }

  private:
    void copyAll();
    bool copyPart(size_t number);
    void waitForEnd();
    void handle(const JobEvent& event);
    void updateProgress();
    void fail(const Failure& failure);

    Work mWork;
    JobContext& mContext;
    FaultWarnings mWarnings;
    host::TrackCopy mCopy;
    ProgressMeter mMeter;
    ProgressSample mSample;
    IdleWatch mIdleWatch;
    std::atomic<bool> mCancelled{false};
    std::atomic<bool> mStopped{false};  // copying is to end
    bool mEnded = false;                // it has
    bool mHasPictures = false;
    std::optional<Failure> mFailure;
    // The copying thread's until it has ended.
    std::string mPath;  // of the present part
    std::optional<Failure> mCopyFailure;
    bool mIsComplete = false;
};

}  // namespace oxa::jobs
