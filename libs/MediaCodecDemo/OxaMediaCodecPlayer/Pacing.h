// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <utils/Timers.h>

namespace android {

// A picture or sound that is later than this is not shown or heard.
constexpr int64_t kMaxLatenessUs = 30000;
constexpr nsecs_t kPaceStepNs = 10000;

// How pipelines wait: tests `done` in waits of 10 microseconds on `condition`, which
// nobody signals.
template <typename Done>
void pollUntil(Mutex& lock, Condition& condition, Done done) {
    while (!done()) {
        Mutex::Autolock autoLock(lock);
        condition.waitRelative(lock, kPaceStepNs);
    }
}

}  // namespace android
