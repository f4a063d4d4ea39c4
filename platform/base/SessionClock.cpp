// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "base/SessionClock.h"

#include <algorithm>
#include <cstdlib>
#include <map>

#include "base/AudioIds.h"

namespace android {

namespace {

constexpr int64_t kSecondUs = 1000000;
// Devices ask for sound a little early or late: smaller differences are averaged, larger ones are
// real (an underrun, a pause).
constexpr int64_t kJitterUs = 30000;
constexpr int64_t kJitterShare = 8;

AnnotatedMutex gClocksLock;
std::map<int32_t, wp<SessionClock>> gClocks GUARDED_BY(gClocksLock);

void forgetDeadClocksLocked() REQUIRES(gClocksLock) {
    for (auto entry = gClocks.begin(); entry != gClocks.end();) {
        entry = entry->second.promote() == nullptr ? gClocks.erase(entry) : std::next(entry);
    }
}

}  // namespace

sp<SessionClock> SessionClock::forHwSync(int32_t hwSync) {
    if (!isAudioSession(hwSync)) return new SessionClock(false);
    AnnotatedLock lock(gClocksLock);
    forgetDeadClocksLocked();
    sp<SessionClock> clock = gClocks[hwSync].promote();
    if (clock == nullptr) {
        clock = new SessionClock(true);
        gClocks[hwSync] = clock;
    }
    return clock;
}

void SessionClock::setFirstTimeUs(int64_t timeUs) {
    AnnotatedLock lock(mLock);
    mFirstTimeUs = timeUs;
    mFrames = 0;
}

void SessionClock::onSoundHeard(int64_t frames, int32_t sampleRate, int64_t heardAtUs) {
    AnnotatedLock lock(mLock);
    if (sampleRate != mSampleRate) {
        mFirstTimeUs = soundTimeUsLocked();
        mFrames = 0;
        mSampleRate = sampleRate;
    }
    const int64_t changeUs = soundTimeUsLocked() - heardAtUs - mOffsetUs;
    const bool jitter = mHeard && std::llabs(changeUs) < kJitterUs;
    mOffsetUs += jitter ? changeUs / kJitterShare : changeUs;
    mHeard = true;
    mFrames += frames;
}

int64_t SessionClock::mediaTimeUs(int64_t nowUs, int64_t pictureUs) {
    AnnotatedLock lock(mLock);
    if (!mRunning && !startReadingLocked(nowUs, pictureUs)) return kNotRunning;
    const int64_t passedUs = std::max<int64_t>(0, nowUs - mLastNowUs);
    mLastUs += std::clamp<int64_t>(nowUs + mOffsetUs - mLastUs, 0, 2 * passedUs);
    mLastNowUs += passedUs;
    return mLastUs;
}

bool SessionClock::startReadingLocked(int64_t nowUs, int64_t pictureUs) {
    if (!mAsked) {
        mAsked = true;
        mFirstAskUs = nowUs;
        mFirstPictureUs = pictureUs;
    }
    if (!mHeard) {
        if (mHasSound && nowUs - mFirstAskUs < kSoundWaitUs) return false;
        mOffsetUs = mFirstPictureUs - nowUs;
    }
    mRunning = true;
    mLastUs = nowUs + mOffsetUs;
    mLastNowUs = nowUs;
    return true;
}

int64_t SessionClock::soundTimeUsLocked() const {
    return mFirstTimeUs + (mSampleRate > 0 ? mFrames * kSecondUs / mSampleRate : 0);
}

}  // namespace android
