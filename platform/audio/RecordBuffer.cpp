// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "audio/RecordBuffer.h"

#include <algorithm>

namespace android {

RecordBuffer::RecordBuffer(int channels, size_t frameCount)
    : mChannels(channels), mCapacity(frameCount), mRing(frameCount * channels) {}

void RecordBuffer::begin() {
    AnnotatedLock lock(mLock);
    mFirst = mCount = 0;
    mEnded = mFailed = mOverrun = false;
    mActive = true;
    ++mRun;
    mChanged.notify_all();
}

void RecordBuffer::end() {
    AnnotatedLock lock(mLock);
    mActive = false;
    mChanged.notify_all();
}

void RecordBuffer::endOfSound(bool failed) {
    AnnotatedLock lock(mLock);
    mEnded = true;
    mFailed = failed;
    mChanged.notify_all();
}

bool RecordBuffer::hasFailed() const {
    AnnotatedLock lock(mLock);
    return mFailed;
}

size_t RecordBuffer::put(const int16_t* samples, size_t frames) {
    AnnotatedLock lock(mLock);
    const size_t taken = std::min(frames, mCapacity - mCount);
    const size_t at = (mFirst + mCount) % mCapacity;
    const size_t tail = std::min(taken, mCapacity - at);
    std::copy_n(samples, tail * mChannels, mRing.begin() + at * mChannels);
    std::copy_n(samples + tail * mChannels, (taken - tail) * mChannels, mRing.begin());
    mCount += taken;
    mOverrun = mOverrun || taken < frames;
    mChanged.notify_all();
    return frames - taken;
}

size_t RecordBuffer::take(int16_t* samples, size_t frames, bool blocking) {
    AnnotatedLock lock(mLock);
    size_t taken = 0;
    for (;;) {
        const size_t count = std::min(frames - taken, mCount);
        copyLocked(samples + taken * mChannels, count);
        dropLocked(count);
        taken += count;
        if (taken == frames || !blocking || isOverLocked()) return taken;
        mChanged.wait(mLock, [this]() REQUIRES(mLock) { return mCount > 0 || isOverLocked(); });
    }
}

RecordBuffer::Event RecordBuffer::waitForEvent(size_t frames) {
    AnnotatedLock lock(mLock);
    for (;;) {
        if (mQuit) return Event::kQuit;
        if (mActive && mOverrun) {
            mOverrun = false;
            return Event::kOverrun;
        }
        if (mActive && (mCount >= frames || (mEnded && mCount > 0))) return Event::kData;
        mChanged.wait(mLock);
    }
}

size_t RecordBuffer::peek(int16_t* samples, size_t frames, uint32_t* run) const {
    AnnotatedLock lock(mLock);
    *run = mRun;
    const size_t count = std::min(frames, mCount);
    copyLocked(samples, count);
    return count;
}

void RecordBuffer::drop(size_t frames, uint32_t run) {
    AnnotatedLock lock(mLock);
    if (run == mRun) dropLocked(std::min(frames, mCount));
}

void RecordBuffer::waitBeforeRetry() {
    AnnotatedLock lock(mLock);
    mChanged.wait_for(mLock, kRetryTime, [this]() REQUIRES(mLock) { return mQuit; });
}

void RecordBuffer::quit() {
    AnnotatedLock lock(mLock);
    mQuit = true;
    mChanged.notify_all();
}

void RecordBuffer::copyLocked(int16_t* samples, size_t frames) const {
    const size_t tail = std::min(frames, mCapacity - mFirst);
    std::copy_n(mRing.begin() + mFirst * mChannels, tail * mChannels, samples);
    std::copy_n(mRing.begin(), (frames - tail) * mChannels, samples + tail * mChannels);
}

void RecordBuffer::dropLocked(size_t frames) {
    mFirst = (mFirst + frames) % mCapacity;
    mCount -= frames;
}

}  // namespace android
