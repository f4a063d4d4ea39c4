// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "live/LiveControl.h"

#include <chrono>

#include "base/Monotonic.h"

namespace android {

void LiveControl::setStalled(bool stalled) {
    AnnotatedLock lock(mLock);
    if (stalled && !mStalled) mStalledSinceUs = monotonicUs();
    mStalled = stalled;
    mChanged.notify_all();
}

void LiveControl::setLost(bool lost) {
    AnnotatedLock lock(mLock);
    mLost = lost;
    mChanged.notify_all();
}

bool LiveControl::isLost() const {
    AnnotatedLock lock(mLock);
    return mLost;
}

void LiveControl::setSignal(const LiveSignal& signal) {
    AnnotatedLock lock(mLock);
    mSignal = signal;
}

LiveSignal LiveControl::signal() const {
    AnnotatedLock lock(mLock);
    return mSignal;
}

LiveControl::Outcome LiveControl::waitUntil(int64_t timeUs, int64_t limitUs,
                                            const bool& interrupted, bool* wasStalled) {
    AnnotatedLock lock(mLock);
    for (;;) {
        if (interrupted) return Outcome::kInterrupted;
        if (mLost) return Outcome::kLost;
        if (!mStalled && monotonicUs() >= timeUs) return Outcome::kDue;
        if (!mStalled) {
            waitUntilLocked(timeUs);
            continue;
        }
        *wasStalled = true;
        if (limitUs <= 0) {
            mChanged.wait(mLock);
        } else if (monotonicUs() - mStalledSinceUs >= limitUs) {
            return Outcome::kTimedOut;
        } else {
            waitUntilLocked(mStalledSinceUs + limitUs);
        }
    }
}

void LiveControl::waitUntilLocked(int64_t timeUs) {
    mChanged.wait_until(mLock,
                        std::chrono::steady_clock::time_point(std::chrono::microseconds(timeUs)));
}

void LiveControl::setInterrupted(bool* flag, bool interrupted) {
    AnnotatedLock lock(mLock);
    *flag = interrupted;
    mChanged.notify_all();
}

bool LiveControl::isInterrupted(const bool& flag) const {
    AnnotatedLock lock(mLock);
    return flag;
}

}  // namespace android
