// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/Session.h>

#include <atomic>
#include <memory>

#include "oxa/jobs/Job.h"
#include "run/EventQueue.h"

namespace oxa::jobs {

// Whether somebody wants a job to end; set once. Thread-safe.
using CancelFlag = std::atomic<bool>;

// What all parts of one job share.
class JobContext {
  public:
    // `listener` may be null.
    explicit JobContext(JobListener* listener);

    // False when the job has run already.
    bool begin() { return !mBegun.exchange(true); }

    // Any thread.
    void cancel();
    const CancelFlag& cancelled() const { return mCancelled; }

    JobListener& listener() const { return *mListener; }
    // Receives Cancelled, and what the job's other threads have to tell.
    const std::shared_ptr<EventQueue>& queue() const { return mQueue; }
    const host::Session& session() const { return mSession; }

  private:
    JobListener mNobody;
    JobListener* const mListener;
    const std::shared_ptr<EventQueue> mQueue = std::make_shared<EventQueue>();
    const host::Session mSession;
    std::atomic<bool> mBegun{false};
    CancelFlag mCancelled{false};
};

// Of a job that was cancelled before it has written anything.
Failure cancelledFailure();

}  // namespace oxa::jobs
