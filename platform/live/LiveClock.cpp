// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "live/LiveClock.h"

#include <map>

namespace android {

sp<LiveClock> LiveClock::forSource(const std::string& source) {
    static std::mutex lock;
    static auto& clocks = *new std::map<std::string, wp<LiveClock>>;
    std::lock_guard<std::mutex> guard(lock);
    wp<LiveClock>& known = clocks[source];
    sp<LiveClock> clock = known.promote();
    if (clock == nullptr) {
        clock = new LiveClock;
        known = clock;
    }
    return clock;
}

int64_t LiveClock::start(int64_t nowUs) {
    std::lock_guard<std::mutex> lock(mLock);
    if (!mStarted) mOriginUs = nowUs;
    mStarted = true;
    return mOriginUs;
}

}  // namespace android
