// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "run/JobContext.h"

namespace oxa::jobs {

JobContext::JobContext(JobListener* listener)
    : mListener(listener != nullptr ? listener : &mNobody) {}

void JobContext::cancel() {
    if (!mCancelled.exchange(true)) mQueue->push(Cancelled{});
}

Failure cancelledFailure() {
    return {FailureKind::kCancelled, "cancelled"};
}

}  // namespace oxa::jobs
