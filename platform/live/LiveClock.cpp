// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "live/LiveClock.h"

#include <iterator>
#include <map>

namespace android {

sp<LiveClock> LiveClock::forSource(const std::string& source) {
    static AnnotatedMutex lock;
    static auto& clocks = *new std::map<std::string, wp<LiveClock>>;
    AnnotatedLock guard(lock);
    const auto known = clocks.find(source);
    sp<LiveClock> clock = known == clocks.end() ? nullptr : known->second.promote();
    if (clock != nullptr) return clock;
    // Those that nobody holds any more are forgotten now and then.
    for (auto it = clocks.begin(); it != clocks.end();) {
        it = it->second.promote() == nullptr ? clocks.erase(it) : std::next(it);
    }
    clock = new LiveClock;
    clocks[source] = clock;
    return clock;
}

int64_t LiveClock::start(int64_t nowUs) {
    AnnotatedLock lock(mLock);
    if (!mStarted) mOriginUs = nowUs;
    mStarted = true;
    return mOriginUs;
}

}  // namespace android
