// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/OutputEnd.h>
#include <utils/Mutex.h>

#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "files/FileDescriptor.h"
#include "files/OutputFile.h"
#include "oxa/jobs/Record.h"
#include "record/CaptureSource.h"
#include "record/FileNames.h"
#include "run/JobContext.h"

namespace oxa::jobs {

// Whether nothing is recorded until it is switched on.
bool beginsSwitchedOff(const RecordOptions& options);

// What one recording writes: a file, or one after the other, each under its final name from the
// first byte on. The writers ask for next ones on threads of their own; all else is the job's.
class RecordFiles {
  public:
    // What there is in all files that are finished.
    struct Total {
        int64_t pictures = 0;
        int64_t timeUs = 0;
    };

    // All outlive this object. Tells the job's queue what happens to files.
    RecordFiles(const RecordOptions& options, const CaptureSource& source, JobContext& context);
    RecordFiles(const RecordFiles&) = delete;
    RecordFiles& operator=(const RecordFiles&) = delete;

    // The name that the first file will have.
    const std::string& firstName() const { return mFirstName; }
    // Opens the first file, unless the recording begins switched off, and has the session's writers
    // ask for others. Nothing when it is open; otherwise why not.
    std::optional<Failure> open(Container container);
    // Whether one file can follow another.
    bool hasSeveral() const { return mHasSeveral; }
    // Opens the next file, for a recording that begins behind another one. Nothing when it is open;
    // otherwise why not.
    std::optional<Failure> openAnother();
    // With a replay: whether samples are wanted in a file.
    void setWanted(bool wanted) { mIsWanted = wanted; }
    // And how long all files are, and whether they are as long as setOutputLength() lets them be.
    int64_t lengthUs() const { return mLengthUs; }
    bool isFull() const { return mIsFull; }

    // Of the file that was opened last; with a replay what the player can have instead.
    int descriptor() const;
    // Of the file that is being written.
    std::string path() const;
    Total total() const;
    // How much there is in all files; nothing where that has no size.
    std::optional<int64_t> bytes() const;
    // There is something in the file that must not be lost.
    void keep();
    bool isKept() const;

    // When the writers are gone: makes the rest durable, and takes away what holds nothing. Also
    // tells what went wrong with a file before.
    std::optional<Failure> finish();
    // Takes away what was not kept.
    void discard();
    // Of those that are finished: all, and those that nobody has taken yet.
    std::vector<std::string> names() const;
    std::vector<std::string> takeFinished();

  private:
    std::optional<Failure> openFirst(Container container);
    std::optional<Failure> needsFiles(const std::string& what) const;
    int openNext();
    bool isTaken(const std::string& name) const;
    void finishOldest(const host::OutputFigures& figures);
    void keepLocked() REQUIRES(mLock);
    void finishFrontLocked() REQUIRES(mLock);
    void discardFrontLocked() REQUIRES(mLock);

    const RecordOptions& mOptions;
    const CaptureSource& mSource;
    JobContext& mContext;
    mutable android::Mutex mLock;
    const time_t mStartTime;
    FileNames mFileNames GUARDED_BY(mLock);
    const std::string mFirstName;
    bool mHasSeveral = false;
    std::atomic<bool> mIsWanted{false};
    std::atomic<int64_t> mLengthUs{0};
    std::atomic<bool> mIsFull{false};
    FileDescriptor mNowhere;
    // The last one is being written.
    std::deque<std::unique_ptr<OutputFile>> mOpen GUARDED_BY(mLock);
    Total mTotal GUARDED_BY(mLock);
    std::vector<std::string> mNames GUARDED_BY(mLock);
    std::ptrdiff_t mTold GUARDED_BY(mLock) = 0;
    int64_t mFinishedBytes GUARDED_BY(mLock) = 0;
    bool mHasSize GUARDED_BY(mLock) = true;
    std::optional<Failure> mUnfinished GUARDED_BY(mLock);  // the first file that is not durable
};

}  // namespace oxa::jobs
