// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "audio/TrackBuffer.h"

#include <algorithm>
#include <cmath>

#include "base/Monotonic.h"

namespace android {

namespace {

std::chrono::steady_clock::time_point timePoint(int64_t timeUs) {
    return std::chrono::steady_clock::time_point(std::chrono::microseconds(timeUs));
}

void scale(int16_t* samples, size_t count, float volume) {
    if (volume == 1.0f) return;
    std::transform(samples, samples + count, samples, [volume](int16_t sample) {
        return static_cast<int16_t>(std::lrintf(sample * volume));
    });
}

}  // namespace

TrackBuffer::TrackBuffer(const SoundFormat& format, size_t frameCount,
                         const sp<SessionClock>& clock)
    : mFormat(format), mCapacity(frameCount), mClock(clock), mRing(frameCount * format.channels) {}

void TrackBuffer::setSinkTimes(int64_t latencyUs, int64_t blockUs) {
    AnnotatedLock lock(mLock);
    mLatencyUs = latencyUs;
    mFirstLeadUs = std::min(blockUs + kReserveUs, kLongestLeadUs);
    mLeadUs = mFirstLeadUs;
}

void TrackBuffer::begin() {
    AnnotatedLock lock(mLock);
    mActive = true;
    mStuck = false;
    mPulled = false;
    mDry = true;
    mSoundFromUs = monotonicUs() + mLeadUs;
    mWriter = PacedWriter();
    mLateFrames = 0;
    mChanged.notify_all();
}

void TrackBuffer::end() {
    AnnotatedLock lock(mLock);
    endLocked();
}

void TrackBuffer::endLocked() {
    mActive = false;
    mDraining = false;
    mUnderrun = false;
    for (const Block& block : mBlocks)
        mHeard += block.frames;
    mBlocks.clear();
    mChanged.notify_all();
}

bool TrackBuffer::drain() {
    AnnotatedLock lock(mLock);
    mDraining = true;
    mChanged.notify_all();
    const bool heard = !mListenersVolume->playsOut() || waitUntilHeardLocked();
    if (!heard) mStuck = true;
    endLocked();
    clearLocked();
    return heard;
}

bool TrackBuffer::waitUntilHeardLocked() {
    const auto limit = timePoint(monotonicUs() + framesToUs(mCount, mFormat.sampleRate) + mLeadUs +
                                 mLatencyUs) +
                       kStuckTime;
    if (!mChanged.wait_until(mLock, limit, [this]() REQUIRES(mLock) { return mCount == 0; }))
        return false;
    if (mBlocks.empty()) return true;
    const Block& last = mBlocks.back();
    const int64_t endUs = last.heardAtUs + framesToUs(last.frames, mFormat.sampleRate);
    mChanged.wait_until(mLock, std::min(limit, timePoint(endUs)), [] { return false; });
    return true;
}

void TrackBuffer::clear() {
    AnnotatedLock lock(mLock);
    clearLocked();
}

void TrackBuffer::clearLocked() {
    mFirst = 0;
    mCount = 0;
    mBlocks.clear();
    mHeard = 0;
}

size_t TrackBuffer::write(const int16_t* samples, size_t frames, bool blocking) {
    AnnotatedLock lock(mLock);
    size_t written = blocking ? 0 : leaveOutLocked(samples, frames);
    for (;;) {
        written += putLocked(samples + written * mFormat.channels, frames - written);
        if (written == frames || !blocking || !waitForRoomLocked()) return written;
    }
}

bool TrackBuffer::waitForRoomLocked() {
    if (mStuck) return false;
    const auto ready = [this]() REQUIRES(mLock) {
        return !mActive || mDraining || roomForAllLocked(1);
    };
    if (!mChanged.wait_for(mLock, kStuckTime, ready)) mStuck = true;
    return mActive && !mDraining && !mStuck;
}

size_t TrackBuffer::putLocked(const int16_t* samples, size_t frames) {
    if (mDraining) return 0;
    frames = std::min(frames, mCapacity - mCount);
    if (frames == 0) return 0;
    if (mDry && mCount == 0) mSoundFromUs = monotonicUs() + mLeadUs;
    const size_t channels = mFormat.channels;
    const size_t begin = (mFirst + mCount) % mCapacity;
    const size_t untilWrap = std::min(frames, mCapacity - begin);
    std::copy_n(samples, untilWrap * channels, mRing.begin() + begin * channels);
    std::copy_n(samples + untilWrap * channels, (frames - untilWrap) * channels, mRing.begin());
    mCount += frames;
    return frames;
}

size_t TrackBuffer::leaveOutLocked(const int16_t* samples, size_t frames) {
    if (mDry || !mActive || mDraining) return 0;
    const int64_t heardFromUs = mNextPullUs + framesToUs(mCount, mFormat.sampleRate);
    const int64_t lateUs = mWriter.onWrite(heardFromUs - monotonicUs(), mLeadUs);
    if (lateUs > 0) mLateFrames = lateUs * mFormat.sampleRate / 1000000;
    const size_t leftOut = std::min(mLateFrames, frames / 2);
    if (leftOut == 0) return 0;
    const size_t faded = std::min({leftOut, mCount, kFadeFrames});
    crossFadeLocked(samples + (leftOut - faded) * mFormat.channels, faded);
    mLateFrames -= leftOut;
    mHeard += leftOut;
    if (mClock != nullptr) mClock->onSoundHeard(leftOut, mFormat.sampleRate, heardFromUs);
    return leftOut;
}

// From the last frames in the ring to these.
void TrackBuffer::crossFadeLocked(const int16_t* samples, size_t frames) {
    for (size_t i = 0; i < frames; ++i) {
        const auto part = static_cast<float>(i + 1) / static_cast<float>(frames + 1);
        const size_t frame = (mFirst + mCount - frames + i) % mCapacity;
        for (int channel = 0; channel < mFormat.channels; ++channel) {
            int16_t& sample = mRing[frame * mFormat.channels + channel];
            const auto next = static_cast<float>(*samples++);
            sample = static_cast<int16_t>(std::lrintf(sample + (next - sample) * part));
        }
    }
}

void TrackBuffer::takeLocked(int16_t* samples, size_t frames) {
    const size_t channels = mFormat.channels;
    const size_t untilWrap = std::min(frames, mCapacity - mFirst);
    std::copy_n(mRing.begin() + mFirst * channels, untilWrap * channels, samples);
    std::copy_n(mRing.begin(), (frames - untilWrap) * channels, samples + untilWrap * channels);
    mFirst = (mFirst + frames) % mCapacity;
    mCount -= frames;
}

TrackBuffer::Need TrackBuffer::waitForNeed(size_t frames) {
    AnnotatedLock lock(mLock);
    mChanged.wait(mLock, [&]() REQUIRES(mLock) {
        return mQuit || mUnderrun || (mActive && !mDraining && roomForAllLocked(frames));
    });
    if (mQuit) return Need::kNothingMore;
    if (!mUnderrun) return Need::kData;
    mUnderrun = false;
    return Need::kUnderrunReport;
}

void TrackBuffer::waitBeforeRetry() {
    AnnotatedLock lock(mLock);
    mChanged.wait_for(mLock, kRetryTime, [this]() REQUIRES(mLock) { return mQuit; });
}

void TrackBuffer::quit() {
    AnnotatedLock lock(mLock);
    mQuit = true;
    mChanged.notify_all();
}

int64_t TrackBuffer::position() {
    AnnotatedLock lock(mLock);
    return positionLocked(monotonicUs());
}

int64_t TrackBuffer::positionLocked(int64_t nowUs) {
    while (!mBlocks.empty()) {
        const Block& block = mBlocks.front();
        const int64_t heard =
                std::max<int64_t>(0, nowUs - block.heardAtUs) * mFormat.sampleRate / 1000000;
        if (heard < block.frames) return mHeard + heard;
        mHeard += block.frames;
        mBlocks.pop_front();
    }
    return mHeard;
}

bool TrackBuffer::takeStuck() {
    AnnotatedLock lock(mLock);
    const bool news = mStuck && !mStuckTold;
    mStuckTold = mStuckTold || mStuck;
    return news;
}

void TrackBuffer::fill(int16_t* samples, size_t frames, int64_t heardAtUs) {
    AnnotatedLock lock(mLock);
    mStuck = false;
    // A sink that is slow to start does not shorten the silence.
    if (!mPulled) mSoundFromUs = std::max(mSoundFromUs, heardAtUs - mLatencyUs + mLeadUs);
    mPulled = true;
    mNextPullUs = heardAtUs - mLatencyUs + framesToUs(frames, mFormat.sampleRate);
    const size_t lead = leadFramesLocked(frames, heardAtUs);
    const size_t taken = std::min(frames - lead, mActive ? mCount : 0);
    const size_t channels = mFormat.channels;
    std::fill_n(samples, lead * channels, 0);
    takeLocked(samples + lead * channels, taken);
    std::fill_n(samples + (lead + taken) * channels, (frames - lead - taken) * channels, 0);
    if (taken > 0) noteHeardLocked(taken, heardAtUs + framesToUs(lead, mFormat.sampleRate));
    if (lead + taken < frames && !mDry) {
        const bool late = mActive && !mDraining;
        mUnderrun = mUnderrun || late;
        if (late) noteUnderrunLocked(heardAtUs);
        mDry = true;
    } else if (taken > 0) {
        mDry = false;
    }
    scale(samples + lead * channels, taken * channels, mVolume * mListenersVolume->get());
    mChanged.notify_all();
}

void TrackBuffer::noteUnderrunLocked(int64_t heardAtUs) {
    const int64_t inTimeUs = std::max<int64_t>(0, heardAtUs - mLastUnderrunUs);
    const int64_t lessUs = inTimeUs / kTimeForLessUs * kMoreReserveUs;
    mLeadUs = std::max(mLeadUs - lessUs, mFirstLeadUs);
    mLeadUs = std::min(mLeadUs + kMoreReserveUs, kLongestLeadUs);
    mLastUnderrunUs = heardAtUs;
    mWriter.onUnderrun();
}

// How many of the next frames stay silent before the first sound.
size_t TrackBuffer::leadFramesLocked(size_t frames, int64_t heardAtUs) const {
    if (!mDry || mCount == 0) return 0;
    const int64_t silentUs = std::max<int64_t>(0, mSoundFromUs - (heardAtUs - mLatencyUs));
    const int64_t silent = silentUs * mFormat.sampleRate / 1000000;
    return static_cast<size_t>(std::min<int64_t>(frames, silent));
}

void TrackBuffer::noteHeardLocked(size_t frames, int64_t heardAtUs) {
    positionLocked(monotonicUs());  // forgets the blocks that have been heard
    mBlocks.push_back({heardAtUs, static_cast<int64_t>(frames)});
    if (mClock != nullptr) mClock->onSoundHeard(frames, mFormat.sampleRate, heardAtUs);
}

}  // namespace android
