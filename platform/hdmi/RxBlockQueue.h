// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <random>
#include <vector>

#include "base/AnnotatedMutex.h"
#include "live/LiveReader.h"

namespace android {

// What the audio service gives at a time.
struct RxBlock {
    int64_t timeUs = 0;  // CLOCK_MONOTONIC of the first sample, as the service has seen it
    int channels = 0;
    int sampleRate = 0;
    bool afterLoss = false;  // blocks before it were dropped
    std::vector<int16_t> samples;
};

// Cuts captured sound into the blocks of the audio service, and keeps them until the client comes
// for them; when it does not, the oldest go. Thread-safe; nothing waits.
//
// The times of the blocks are those of the samples, and up to a millisecond late: the service
// stamps when it gets to it.
class RxBlockQueue {
  public:
    // Tells when the recorded picture begins: RegisteredCamera::recordedFromUs().
    using PictureStart = std::function<int64_t()>;

    // Empties it, and takes sound from `fromUs` on; where there is a picture from its beginning on,
    // which may lie a little back or ahead.
    void begin(int64_t fromUs, PictureStart pictureStart = nullptr);
    // Empties it, and takes none.
    void end();

    void add(const LiveBlock& sound);

    // False when there is none. A block larger than `maxBytes` is given in parts.
    bool take(size_t maxBytes, RxBlock* block);

    uint64_t dropped() const;

  private:
    static constexpr size_t kMaxBlocks = 32;
    static constexpr int kBlockFrames = 1024;
    // Clients fetch one block every 15 ms.
    static constexpr int kMaxBlocksPerSecond = 48;
    static constexpr int64_t kMaxJitterUs = 1000;
    // Sound that is farther off its place does not continue what came before.
    static constexpr int64_t kGapUs = 20000;

    // How long sound is kept for a beginning that lies back, and a picture is waited for.
    static constexpr int64_t kMaxBackUs = 500000;

    static size_t blockFrames(int sampleRate);
    void keepLocked(const LiveBlock& sound) REQUIRES(mLock);
    void findBeginningLocked(int64_t nowUs) REQUIRES(mLock);
    void cutLocked(const LiveBlock& sound) REQUIRES(mLock);
    bool continuesLocked(const LiveBlock& sound) const REQUIRES(mLock);
    void appendLocked(const LiveBlock& sound) REQUIRES(mLock);
    void finishLocked(size_t frames) REQUIRES(mLock);
    int64_t pendingUsLocked(size_t frames) const REQUIRES(mLock);

    mutable AnnotatedMutex mLock;
    bool mActive GUARDED_BY(mLock) = false;
    int64_t mFromUs GUARDED_BY(mLock) = 0;
    PictureStart mPictureStart GUARDED_BY(mLock);     // null once the beginning is known
    std::deque<LiveBlock> mRecent GUARDED_BY(mLock);  // of the last kMaxBackUs
    RxBlock mPending GUARDED_BY(mLock);               // not full yet; its time without jitter
    // That have left mPending since its time was taken.
    int64_t mPendingFrames GUARDED_BY(mLock) = 0;
    std::deque<RxBlock> mBlocks GUARDED_BY(mLock);
    uint64_t mDropped GUARDED_BY(mLock) = 0;
    std::minstd_rand mRandom GUARDED_BY(mLock);
};

}  // namespace android
