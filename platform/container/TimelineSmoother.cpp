// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "container/TimelineSmoother.h"

#include <cstdlib>

namespace android {

namespace {

constexpr int64_t kMaxGapUs = 10000000;     // more is a jump, less is a pause in the programme
constexpr int64_t kMaxStepBackUs = 100000;  // decoding times do not go back by themselves
constexpr int64_t kMaxDelayUs = 2000000;    // of packets of the old part behind a jump

bool isSmooth(int64_t deltaUs) {
    return std::abs(deltaUs) <= kMaxStepBackUs;
}

}  // namespace

// Where the stream was; a stream that begins is near to where the others are.
int64_t TimelineSmoother::expectedUs(int stream) const {
    auto next = mNextUs.find(stream);
    return next != mNextUs.end() ? next->second : mLastUs;
}

bool TimelineSmoother::isJump(int stream, int64_t deltaUs) const {
    const bool begins = mNextUs.count(stream) == 0;
    return deltaUs > kMaxGapUs || deltaUs < (begins ? -kMaxGapUs : -kMaxStepBackUs);
}

bool TimelineSmoother::belongsToFormerPart(int stream, int64_t timeUs) const {
    return mJumped && mLastUs - mJumpUs <= kMaxDelayUs &&
           !isSmooth(timeUs + mShiftUs - expectedUs(stream)) &&
           isSmooth(timeUs + mFormerShiftUs - expectedUs(stream));
}

int64_t TimelineSmoother::shiftFor(int stream, int64_t timeUs, int64_t durationUs) {
    int64_t shiftUs = mShiftUs;
    const int64_t deltaUs = timeUs + mShiftUs - expectedUs(stream);
    if (belongsToFormerPart(stream, timeUs)) {
        shiftUs = mFormerShiftUs;
    } else if (mStarted && isJump(stream, deltaUs)) {
        mFormerShiftUs = mShiftUs;
        mShiftUs -= deltaUs;
        shiftUs = mShiftUs;
        mJumped = true;
        mJumpUs = timeUs + shiftUs;
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
