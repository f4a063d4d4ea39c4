// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "oxa/jobs/Job.h"

#include "run/JobContext.h"

namespace oxa::jobs {

Job::Job(JobListener* listener) : mContext(std::make_unique<JobContext>(listener)) {}

Job::~Job() = default;

Result Job::run() {
    Result refused;
    if (!mContext->begin()) {
        refused.failure = {FailureKind::kOptions, "the job has run already"};
        return refused;
    }
    if (mContext->cancelled()) {
        refused.failure = cancelledFailure();
        return refused;
    }
    const host::SessionScope scope(mContext->session());
    return work(*mContext);
}

void Job::cancel() {
    mContext->cancel();
}

}  // namespace oxa::jobs
