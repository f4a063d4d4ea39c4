// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// The platform's log tells of every damaged file: too much for millions of them. What ends the
// process is still printed.

#include <android/log.h>

#include <cstdint>

namespace {

[[maybe_unused]] const int32_t gFormerPriority =
        __android_log_set_minimum_priority(ANDROID_LOG_FATAL);

}  // namespace
