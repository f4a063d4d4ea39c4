// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "run/IdleWatch.h"

#include <algorithm>
#include <cstdlib>

namespace oxa::jobs {

namespace {

constexpr int64_t kStallSeconds = 30;

}  // namespace

bool IdleWatch::isStalled() {
    const int64_t now = nowUs();
    mIdleUs += std::min(now - mLastUs, 2 * kTickUs);
    mLastUs = now;
    return mIdleUs >= stallSeconds() * 1'000'000;
}

int64_t stallSeconds() {
    static const int64_t kSeconds = [] {
        const char* text = std::getenv("OXA_STALL_SECONDS");
        const int64_t seconds = text != nullptr ? std::atoll(text) : 0;
        return seconds > 0 ? std::min(seconds, kStallSeconds) : kStallSeconds;
    }();
    return kSeconds;
}

}  // namespace oxa::jobs
