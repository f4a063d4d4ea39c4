// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "hdmi/RxBlockQueue.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "camera/CameraRegistry.h"

namespace android {

namespace {

size_t framesOf(const std::vector<int16_t>& samples, int channels) {
    return channels == 0 ? 0 : samples.size() / channels;
}

}  // namespace

void RxBlockQueue::begin(int64_t fromUs, PictureStart pictureStart) {
    AnnotatedLock lock(mLock);
    mActive = true;
    mFromUs = fromUs;
    mPictureStart = std::move(pictureStart);
    mPending = RxBlock();
    mBlocks.clear();
    findBeginningLocked(fromUs);
}

void RxBlockQueue::end() {
    AnnotatedLock lock(mLock);
    mActive = false;
    mBlocks.clear();
}

void RxBlockQueue::add(const LiveBlock& sound) {
    AnnotatedLock lock(mLock);
    keepLocked(sound);
    if (!mActive) return;
    if (mPictureStart != nullptr) {
        findBeginningLocked(sound.timeUs);
    } else {
        cutLocked(sound);
    }
}

void RxBlockQueue::keepLocked(const LiveBlock& sound) {
    mRecent.push_back(sound);
    while (sound.timeUs - mRecent.front().timeUs > kMaxBackUs)
        mRecent.pop_front();
}

// Once the picture has begun, or is too late to be waited for: what was kept follows from there.
void RxBlockQueue::findBeginningLocked(int64_t nowUs) {
    if (mPictureStart == nullptr) return;
    const int64_t startUs = mPictureStart();
    if (startUs == RegisteredCamera::kNoPictureYet && nowUs - mFromUs < kMaxBackUs) return;
    mPictureStart = nullptr;
    if (startUs > 0) mFromUs = std::max(startUs, mFromUs - kMaxBackUs);
    for (const LiveBlock& kept : mRecent)
        cutLocked(kept);
}

void RxBlockQueue::cutLocked(const LiveBlock& sound) {
    if (!continuesLocked(sound)) {
        finishLocked(framesOf(mPending.samples, mPending.channels));
        mPending = RxBlock();
    }
    appendLocked(sound);
    const size_t frames = blockFrames(sound.sampleRate);
    while (framesOf(mPending.samples, mPending.channels) >= frames)
        finishLocked(frames);
}

bool RxBlockQueue::take(size_t maxBytes, RxBlock* block) {
    AnnotatedLock lock(mLock);
    if (mBlocks.empty()) return false;
    RxBlock& first = mBlocks.front();
    const size_t frameBytes = first.channels * sizeof(int16_t);
    const size_t count = maxBytes / frameBytes * first.channels;
    if (first.samples.size() <= count) {
        *block = std::move(first);
        mBlocks.pop_front();
        return true;
    }
    if (count == 0) return false;
    *block = first;
    block->samples.resize(count);
    first.samples.erase(first.samples.begin(),
                        first.samples.begin() + static_cast<ptrdiff_t>(count));
    first.timeUs += static_cast<int64_t>(count) / first.channels * 1000000 / first.sampleRate;
    first.afterLoss = false;
    return true;
}

uint64_t RxBlockQueue::dropped() const {
    AnnotatedLock lock(mLock);
    return mDropped;
}

// As many frames as make no more than the usual count of blocks a second.
size_t RxBlockQueue::blockFrames(int sampleRate) {
    int frames = kBlockFrames;
    while (sampleRate > frames * kMaxBlocksPerSecond)
        frames *= 2;
    return frames;
}

// When the sample after `frames` of the pending ones is due.
int64_t RxBlockQueue::pendingUsLocked(size_t frames) const {
    return mPending.timeUs +
           (mPendingFrames + static_cast<int64_t>(frames)) * 1000000 / mPending.sampleRate;
}

bool RxBlockQueue::continuesLocked(const LiveBlock& sound) const {
    if (mPending.channels != sound.channels || mPending.sampleRate != sound.sampleRate) {
        return false;
    }
    const size_t frames = framesOf(mPending.samples, mPending.channels);
    return std::abs(sound.timeUs - pendingUsLocked(frames)) <= kGapUs;
}

void RxBlockQueue::appendLocked(const LiveBlock& sound) {
    const auto frames = static_cast<int64_t>(framesOf(sound.samples, sound.channels));
    const int64_t early = (mFromUs - sound.timeUs) * sound.sampleRate / 1000000;
    const int64_t skipped = std::clamp<int64_t>(early, 0, frames);
    if (skipped == frames) return;
    if (mPending.samples.empty()) {
        mPending.timeUs = sound.timeUs + skipped * 1000000 / sound.sampleRate;
        mPendingFrames = 0;
        mPending.channels = sound.channels;
        mPending.sampleRate = sound.sampleRate;
    }
    mPending.samples.insert(mPending.samples.end(),
                            sound.samples.begin() + skipped * sound.channels, sound.samples.end());
}

// Makes a block of the first pending frames.
void RxBlockQueue::finishLocked(size_t frames) {
    if (frames == 0) return;
    const auto count = static_cast<ptrdiff_t>(frames * mPending.channels);
    RxBlock block;
    std::uniform_int_distribution<int64_t> jitterUs(0, kMaxJitterUs);
    block.timeUs = pendingUsLocked(0) + jitterUs(mRandom);
    block.channels = mPending.channels;
    block.sampleRate = mPending.sampleRate;
    block.samples.assign(mPending.samples.begin(), mPending.samples.begin() + count);
    mPending.samples.erase(mPending.samples.begin(), mPending.samples.begin() + count);
    mPendingFrames += static_cast<int64_t>(frames);
    if (mBlocks.size() >= kMaxBlocks) {
        mBlocks.pop_front();
        ++mDropped;
        if (!mBlocks.empty()) mBlocks.front().afterLoss = true;
    }
    mBlocks.push_back(std::move(block));
}

}  // namespace android
