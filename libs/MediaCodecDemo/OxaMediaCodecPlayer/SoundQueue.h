// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/ABuffer.h>
#include <stddef.h>
#include <utils/List.h>
#include <utils/Mutex.h>

namespace android {

// Buffers of live sound between two threads. It is bounded: while nobody takes them the oldest ones
// are given up, as a source that goes on cannot wait. Thread-safe.
class SoundQueue {
  public:
    explicit SoundQueue(size_t maxBuffers) : mMaxBuffers(maxBuffers), mCount(0) {}

    void push(const sp<ABuffer>& buffer) {
        Mutex::Autolock lock(mLock);
        if (mCount >= mMaxBuffers) {
            mBuffers.erase(mBuffers.begin());
        } else {
            ++mCount;
        }
        mBuffers.push_back(buffer);
    }

    // Takes the oldest buffer; null when there is none.
    sp<ABuffer> pop() {
        Mutex::Autolock lock(mLock);
        if (mCount == 0) return sp<ABuffer>();
        sp<ABuffer> front = *mBuffers.begin();
        mBuffers.erase(mBuffers.begin());
        --mCount;
        return front;
    }

    // Puts a buffer back in front of all others; in a full queue it is the one to be given up.
    void unpop(const sp<ABuffer>& buffer) {
        Mutex::Autolock lock(mLock);
        if (mCount >= mMaxBuffers) return;
        mBuffers.push_front(buffer);
        ++mCount;
    }

    void clear() {
        Mutex::Autolock lock(mLock);
        mBuffers.clear();
        mCount = 0;
    }

  private:
    const size_t mMaxBuffers;
    Mutex mLock;
    List<sp<ABuffer>> mBuffers GUARDED_BY(mLock);
    size_t mCount GUARDED_BY(mLock);
};

}  // namespace android
