// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/Mutex.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "parts/PartFolder.h"
#include "run/JobContext.h"
#include "run/ProgressMeter.h"

namespace oxa::jobs {

// Runs jobs that each make one file of a PartFolder, several at once, and the last one when all
// others are done. What is there already is not made again.
class PartsRun {
  public:
    struct Task {
        std::string name;  // of the file
        double seconds;    // of the film's progress
        // A job that writes this file.
        std::function<std::unique_ptr<Job>(const std::string& path, JobListener* listener)> make;
    };

    // All outlive the object. `filmUs` is how long the film is, of which progress is told.
    PartsRun(const std::vector<Task>& tasks, int64_t filmUs, PartFolder& folder,
             JobContext& context);

    // Nothing when all files are there; otherwise what failed first, or kCancelled. A Cancelled in
    // the queue ends the run. No job runs any more then.
    std::optional<Failure> run(int atOnce);

    // The last job's, with the damage of all and the times of the run.
    const Result& result() const { return mResult; }

  private:
    class RunningPart;

    void work();
    const Task* next();
    void make(const Task& task);
    Result runJob(const Task& task, const std::string& work);
    void addLocked(const Task& task, const Result& result) REQUIRES(mLock);
    void takeTimes(const Progress& run);
    std::optional<Failure> whyEnded();
    void fail(const Failure& failure);
    bool isOver();
    void tellWarnings();
    ProgressSample sample();

    const std::vector<Task>& mTasks;
    const int64_t mFilmUs;
    PartFolder& mFolder;
    JobContext& mContext;
    android::Mutex mLock;
    std::vector<const Task*> mOpen GUARDED_BY(mLock);  // the next one last
    std::set<RunningPart*> mRunning GUARDED_BY(mLock);
    std::vector<std::string> mWarnings GUARDED_BY(mLock);  // that nobody was told
    std::set<std::string> mKnownWarnings GUARDED_BY(mLock);
    std::optional<Failure> mFailure GUARDED_BY(mLock);
    bool mStopped GUARDED_BY(mLock) = false;
    int mBusy GUARDED_BY(mLock) = 0;  // workers that have a job
    int mWorkers GUARDED_BY(mLock) = 0;
    double mDoneSec GUARDED_BY(mLock) = 0;
    int64_t mDonePictures GUARDED_BY(mLock) = 0;
    int64_t mDoneBytes GUARDED_BY(mLock) = 0;
    Result mResult;  // from when a job is done
};

}  // namespace oxa::jobs
