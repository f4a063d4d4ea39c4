// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "foundation/TimerSlack.h"

#include <sys/prctl.h>

namespace android {

namespace {

constexpr int kLooperSlackNs = 500000;
constexpr int kRelaxedSlackNs = 4000000;

}  // namespace

void setLooperSlack() {
    prctl(PR_SET_TIMERSLACK, static_cast<unsigned long>(kLooperSlackNs));
}

void relaxLooperSlack() {
    if (prctl(PR_GET_TIMERSLACK) != kLooperSlackNs) return;
    prctl(PR_SET_TIMERSLACK, static_cast<unsigned long>(kRelaxedSlackNs));
}

}  // namespace android
