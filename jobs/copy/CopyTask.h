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

#include "oxa/jobs/OutputOptions.h"
#include "oxa/jobs/Result.h"

namespace oxa::jobs {

// The reading and writing of a copy, which one thread does. It owns all that it needs, so that a
// thread that hangs in a read can be left behind with it.
class CopyTask {
  public:
    struct Part {
        std::string path;
        std::unique_ptr<host::CopyInput> input;
    };
    // Opens the part with this number; what it answers is the failure of the copy. Refers to
    // nothing that may go before the task.
    using OpenPart = std::function<std::optional<Failure>(size_t number, Part* part)>;
    struct Work {
        int descriptor;  // of the output, which is duplicated
        Container container;
        size_t parts;
        OpenPart openPart;
        std::unique_ptr<host::CopyInput> sound;  // null: that of the parts
    };

    explicit CopyTask(Work work);

    // All of it, or as far as it comes until stop().
    void run();
    // Any thread: no more samples.
    void stop() { mStopped = true; }
    bool isStopped() const { return mStopped; }
    // Any thread.
    int64_t timeUs() const { return mCopy.timeUs(); }
    uint64_t pictures() const { return mCopy.pictures(); }

    // When run() has returned.
    const std::optional<Failure>& failure() const { return mFailure; }
    bool isComplete() const { return mIsComplete; }
    bool hasPictures() const { return mHasPictures; }
    const host::OutputFigures& figures() const { return mCopy.figures(); }

  private:
    bool copyPart(size_t number);

    Work mWork;
    host::TrackCopy mCopy;
    std::atomic<bool> mStopped{false};
    bool mHasPictures = false;
    bool mIsComplete = false;
    std::optional<Failure> mFailure;
};

}  // namespace oxa::jobs
