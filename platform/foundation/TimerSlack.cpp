// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "foundation/TimerSlack.h"

#include <sys/prctl.h>

namespace android {

namespace {

constexpr unsigned long kLooperSlackNs = 500000;
constexpr unsigned long kRelaxedSlackNs = 4000000;

thread_local bool sHasLooperSlack = false;

}  // namespace

void setLooperSlack() {
    prctl(PR_SET_TIMERSLACK, kLooperSlackNs);
    sHasLooperSlack = true;
}

void relaxLooperSlack() {
    if (!sHasLooperSlack) return;
    prctl(PR_SET_TIMERSLACK, kRelaxedSlackNs);
    sHasLooperSlack = false;
}

}  // namespace android
