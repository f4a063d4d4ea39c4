// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "live/LiveControl.h"

#include <chrono>

#include "base/Monotonic.h"

namespace android {

void LiveControl::setStalled(bool stalled) {
    std::lock_guard<std::mutex> lock(mLock);
    if (stalled && !mStalled) mStalledSinceUs = monotonicUs();
    mStalled = stalled;
    mChanged.notify_all();
}

void LiveControl::setLost(bool lost) {
    std::lock_guard<std::mutex> lock(mLock);
    mLost = lost;
    mChanged.notify_all();
}

bool LiveControl::isLost() const {
    std::lock_guard<std::mutex> lock(mLock);
    return mLost;
}

void LiveControl::setPictureSize(int width, int height) {
    std::lock_guard<std::mutex> lock(mLock);
    mWidth = width;
    mHeight = height;
}

void LiveControl::pictureSize(int* width, int* height) const {
    std::lock_guard<std::mutex> lock(mLock);
    *width = mWidth;
    *height = mHeight;
}

LiveControl::Outcome LiveControl::waitUntil(int64_t timeUs, int64_t limitUs,
                                            const bool& interrupted, bool* wasStalled) {
    std::unique_lock<std::mutex> lock(mLock);
    for (;;) {
        if (interrupted) return Outcome::kInterrupted;
        if (mLost) return Outcome::kLost;
        if (!mStalled && monotonicUs() >= timeUs) return Outcome::kDue;
        if (!mStalled) {
            waitLocked(&lock, timeUs);
            continue;
        }
        *wasStalled = true;
        if (limitUs <= 0) {
            mChanged.wait(lock);
        } else if (monotonicUs() - mStalledSinceUs >= limitUs) {
            return Outcome::kTimedOut;
        } else {
            waitLocked(&lock, mStalledSinceUs + limitUs);
        }
    }
}

void LiveControl::waitLocked(std::unique_lock<std::mutex>* lock, int64_t timeUs) {
    mChanged.wait_until(*lock,
                        std::chrono::steady_clock::time_point(std::chrono::microseconds(timeUs)));
}

void LiveControl::setInterrupted(bool* flag, bool interrupted) {
    std::lock_guard<std::mutex> lock(mLock);
    *flag = interrupted;
    mChanged.notify_all();
}

bool LiveControl::isInterrupted(const bool& flag) const {
    std::lock_guard<std::mutex> lock(mLock);
    return flag;
}

}  // namespace android
