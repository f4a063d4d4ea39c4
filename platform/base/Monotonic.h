// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/Timers.h>

#include <cstdint>

namespace android {

// CLOCK_MONOTONIC in microseconds.
inline int64_t monotonicUs() {
    return systemTime(SYSTEM_TIME_MONOTONIC) / 1000;
}

}  // namespace android
