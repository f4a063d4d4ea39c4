// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "run/BatchScheduling.h"

#include <sched.h>

namespace oxa::jobs {

namespace {

// A system that does not allow it is only slower.
bool setPolicyOfThisThread(int policy) {
    const sched_param priority = {};
    return sched_setscheduler(0, policy, &priority) == 0;
}

}  // namespace

BatchScheduling::BatchScheduling()
    : mIsOurs(sched_getscheduler(0) == SCHED_OTHER && setPolicyOfThisThread(SCHED_BATCH)) {}

BatchScheduling::~BatchScheduling() {
    if (mIsOurs) setPolicyOfThisThread(SCHED_OTHER);
}

}  // namespace oxa::jobs
