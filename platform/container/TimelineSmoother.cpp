// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "container/TimelineSmoother.h"

#include <cstdlib>

namespace android {

namespace {

constexpr int64_t kMaxGapUs = 10000000;     // more is a jump, less is a pause in the programme
constexpr int64_t kMaxStepBackUs = 1000000;  // decoding times do not go back by themselves

bool isJump(int64_t deltaUs) {
    return deltaUs > kMaxGapUs || deltaUs < -kMaxStepBackUs;
}

}  // namespace

int64_t TimelineSmoother::expectedUs(int stream) const {
    auto next = mNextUs.find(stream);
    return next != mNextUs.end() ? next->second : mLastUs;
}

int64_t TimelineSmoother::shiftFor(int stream, int64_t timeUs, int64_t durationUs) {
    int64_t shiftUs = mShiftUs;
    const int64_t deltaUs = timeUs + mShiftUs - expectedUs(stream);
    const int64_t formerDeltaUs = timeUs + mFormerShiftUs - expectedUs(stream);
    if (mStarted && std::abs(deltaUs) > kMaxStepBackUs &&
        std::abs(formerDeltaUs) <= kMaxStepBackUs) {
        shiftUs = mFormerShiftUs;
    } else if (mStarted && isJump(deltaUs)) {
        mFormerShiftUs = mShiftUs;
        mShiftUs -= deltaUs;
        shiftUs = mShiftUs;
    }
    mStarted = true;
    mLastUs = timeUs + shiftUs + durationUs;
    mNextUs[stream] = mLastUs;
    return shiftUs;
}

void TimelineSmoother::reset() {
    *this = TimelineSmoother();
}

}  // namespace android
