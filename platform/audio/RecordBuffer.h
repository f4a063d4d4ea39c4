// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "base/AnnotatedMutex.h"

namespace android {

// The ring between a microphone and the client of its record. Thread-safe; put() does not wait.
class RecordBuffer {
  public:
    enum class Event { kData, kOverrun, kQuit };

    RecordBuffer(int channels, size_t frameCount);

    // Empties it, and takes sound from here on.
    void begin();
    // The reverse; who waits comes back. What was taken stays.
    void end();
    // The microphone gives nothing more; `failed` tells how that came.
    void endOfSound(bool failed);
    bool hasFailed() const;

    // What does not fit is dropped. Returns the frames dropped.
    size_t put(const int16_t* samples, size_t frames);

    // Takes frames out. `blocking`: waits until there are so many, or none will come. Returns the
    // frames taken.
    size_t take(int16_t* samples, size_t frames, bool blocking);

    // For the callback's thread: waits until `frames` are there while the buffer is active (less
    // after the end of the sound), until frames were dropped, or for quit().
    Event waitForEvent(size_t frames);
    // Copies up to `frames`, for drop() to take them out. `run` tells between which calls of
    // begin() they came.
    size_t peek(int16_t* samples, size_t frames, uint32_t* run) const;
    void drop(size_t frames, uint32_t run);
    // Waits a moment, or until quit().
    void waitBeforeRetry();
    void quit();

  private:
    static constexpr std::chrono::milliseconds kRetryTime{10};

    void copyLocked(int16_t* samples, size_t frames) const REQUIRES(mLock);
    void dropLocked(size_t frames) REQUIRES(mLock);
    bool isOverLocked() const REQUIRES(mLock) { return !mActive || mEnded; }

    const size_t mChannels;
    const size_t mCapacity;  // frames

    mutable AnnotatedMutex mLock;
    AnnotatedCondition mChanged;
    std::vector<int16_t> mRing GUARDED_BY(mLock);
    size_t mFirst GUARDED_BY(mLock) = 0;  // frame index in mRing
    size_t mCount GUARDED_BY(mLock) = 0;
    uint32_t mRun GUARDED_BY(mLock) = 0;
    bool mActive GUARDED_BY(mLock) = false;
    bool mEnded GUARDED_BY(mLock) = false;
    bool mFailed GUARDED_BY(mLock) = false;
    bool mOverrun GUARDED_BY(mLock) = false;  // to be reported
    bool mQuit GUARDED_BY(mLock) = false;
};

}  // namespace android
