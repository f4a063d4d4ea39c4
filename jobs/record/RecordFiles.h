// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/Mutex.h>

#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "files/OutputFile.h"
#include "oxa/jobs/Record.h"
#include "record/CaptureSource.h"
#include "record/FileNames.h"
#include "run/JobContext.h"

namespace oxa::jobs {

// What one recording writes: a file, or one after the other, each under its final name from the
// first byte on. The writer asks for the next ones on threads of its own; all else is the job's.
class RecordFiles {
  public:
    // All outlive this object. Tells the job's queue what happens to files.
    RecordFiles(const RecordOptions& options, const CaptureSource& source, JobContext& context);
    RecordFiles(const RecordFiles&) = delete;
    RecordFiles& operator=(const RecordFiles&) = delete;

    // The name that the first file will have.
    const std::string& firstName() const { return mFirstName; }
    // Opens the first file, and has the session's writers ask for the others. Nothing when it is
    // open; otherwise why not.
    std::optional<Failure> open(Container container);

    // Of the first one, until the recording has begun.
    int descriptor() const;
    // Of the file that is being written.
    std::string path() const;
    // How much there is in all files; nothing where that has no size.
    std::optional<int64_t> bytes() const;
    // There is something in the file that must not be lost.
    void keep();
    bool isKept() const;

    // When the writers are gone: makes the rest durable.
    std::optional<Failure> finish();
    // Takes away what was not kept.
    void discard();
    // Of those that are finished: all, and those that nobody has taken yet.
    std::vector<std::string> names() const;
    std::vector<std::string> takeFinished();

  private:
    int openNext();
    bool isTaken(const std::string& name) const;
    void finishOldest();
    std::optional<Failure> finishFrontLocked() REQUIRES(mLock);

    const RecordOptions& mOptions;
    const CaptureSource& mSource;
    JobContext& mContext;
    mutable android::Mutex mLock;
    FileNames mFileNames GUARDED_BY(mLock);
    const std::string mFirstName;
    // The last one is being written.
    std::deque<std::unique_ptr<OutputFile>> mOpen GUARDED_BY(mLock);
    std::vector<std::string> mNames GUARDED_BY(mLock);
    std::ptrdiff_t mTold GUARDED_BY(mLock) = 0;
    int64_t mFinishedBytes GUARDED_BY(mLock) = 0;
};

}  // namespace oxa::jobs
