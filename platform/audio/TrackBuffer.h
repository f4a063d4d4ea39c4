// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/RefBase.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <vector>

#include "audio/PacedWriter.h"
#include "audio/SoundOutputChoice.h"
#include "audio/SoundSink.h"
#include "base/AnnotatedMutex.h"
#include "base/SessionClock.h"

namespace android {

// The ring between a track's writer and its sink. It puts silence where nothing was written, counts
// what has been heard, and tells the session's clock. All calls are thread-safe.
class TrackBuffer : public SoundSource {
  public:
    // Silence before the first sound, so that a writer who brings each piece when it is due is
    // never late. All of it is an offset between sound and picture, so it is short at the start:
    // what the sink takes at a time and this reserve. Each underrun adds a little, so that a
    // machine that is often late gets what it needs; each second without one takes it back.
    static constexpr int64_t kReserveUs = 8000;
    static constexpr int64_t kMoreReserveUs = 1000;
    static constexpr int64_t kTimeForLessUs = 1000000;
    static constexpr int64_t kLongestLeadUs = 40000;

    enum class Need { kData, kUnderrunReport, kNothingMore };

    // `clock` may be null.
    TrackBuffer(const SoundFormat& format, size_t frameCount, const sp<SessionClock>& clock);

    // Before the first start: how long the sink takes to be heard, and how much it pulls at a time.
    void setSinkTimes(int64_t latencyUs, int64_t blockUs);
    void setVolume(float volume) { mVolume = volume; }

    // From here on the sink may pull, and writers may wait.
    void begin();
    // The reverse; who waits comes back. What was written stays.
    void end();
    // Lets the sink play what was written, takes nothing new, and waits until it has been heard;
    // then like end(), and empty. False when the sink did not take it in time.
    bool drain();
    // What was written and not pulled is forgotten, and the position is 0.
    void clear();

    // Takes what fits, or with `blocking` all, as long as the buffer is active and the sink pulls.
    // Returns the frames taken. Sound of a writer who does not wait, but was late, is shortened
    // until it is in time again; the frames left out count as taken and heard.
    size_t write(const int16_t* samples, size_t frames, bool blocking);

    // Waits until the active buffer has room for `frames`, there was an underrun that nobody was
    // told of, or quit() was called.
    Need waitForNeed(size_t frames);
    // Waits a moment, or until quit().
    void waitBeforeRetry();
    void quit();

    // Frames heard since the last clear() or drain().
    int64_t position();
    // Once for each time that the sink was found not to pull.
    bool takeStuck();

    void fill(int16_t* samples, size_t frames, int64_t heardAtUs) override;

  private:
    // Frames that were pulled and perhaps not heard yet.
    struct Block {
        int64_t heardAtUs;
        int64_t frames;
    };

    static constexpr std::chrono::milliseconds kStuckTime{1000};
    static constexpr std::chrono::milliseconds kRetryTime{10};
    static constexpr size_t kFadeFrames = 256;

    bool roomForAllLocked(size_t frames) const REQUIRES(mLock) {
        return mCapacity - mCount >= frames;
    }
    bool waitForRoomLocked() REQUIRES(mLock);
    bool waitUntilHeardLocked() REQUIRES(mLock);
    size_t putLocked(const int16_t* samples, size_t frames) REQUIRES(mLock);
    size_t leaveOutLocked(const int16_t* samples, size_t frames) REQUIRES(mLock);
    void crossFadeLocked(const int16_t* samples, size_t frames) REQUIRES(mLock);
    void takeLocked(int16_t* samples, size_t frames) REQUIRES(mLock);
    void noteUnderrunLocked(int64_t heardAtUs) REQUIRES(mLock);
    size_t leadFramesLocked(size_t frames, int64_t heardAtUs) const REQUIRES(mLock);
    void noteHeardLocked(size_t frames, int64_t heardAtUs) REQUIRES(mLock);
    void endLocked() REQUIRES(mLock);
    void clearLocked() REQUIRES(mLock);
    int64_t positionLocked(int64_t nowUs) REQUIRES(mLock);

    const SoundFormat mFormat;
    const size_t mCapacity;  // frames
    const sp<SessionClock> mClock;
    int64_t mLatencyUs = 0;  // constant once started
    std::atomic<float> mVolume{1.0f};
    const std::shared_ptr<const oxa::host::SoundVolume> mListenersVolume = chosenSoundVolume();

    AnnotatedMutex mLock;
    AnnotatedCondition mChanged;
    std::vector<int16_t> mRing GUARDED_BY(mLock);
    size_t mFirst GUARDED_BY(mLock) = 0;  // frame index in mRing
    size_t mCount GUARDED_BY(mLock) = 0;
    bool mActive GUARDED_BY(mLock) = false;
    bool mDraining GUARDED_BY(mLock) = false;
    bool mQuit GUARDED_BY(mLock) = false;
    bool mStuck GUARDED_BY(mLock) = false;  // the sink does not pull; cleared when it does
    bool mStuckTold GUARDED_BY(mLock) = false;
    bool mPulled GUARDED_BY(mLock) = false;  // since begin()
    bool mDry GUARDED_BY(mLock) = true;  // nothing to play: the next sound waits until mSoundFromUs
    int64_t mSoundFromUs GUARDED_BY(mLock) = 0;  // in the sink's pull time
    int64_t mFirstLeadUs GUARDED_BY(mLock) = kLongestLeadUs;
    int64_t mLeadUs GUARDED_BY(mLock) = kLongestLeadUs;
    int64_t mLastUnderrunUs GUARDED_BY(mLock) = 0;  // as heard
    // When the sink takes what comes after the last fill().
    int64_t mNextPullUs GUARDED_BY(mLock) = 0;
    PacedWriter mWriter GUARDED_BY(mLock);
    size_t mLateFrames GUARDED_BY(mLock) = 0;  // to be left out
    bool mUnderrun GUARDED_BY(mLock) = false;  // to be reported
    std::deque<Block> mBlocks GUARDED_BY(mLock);
    int64_t mHeard GUARDED_BY(mLock) = 0;  // frames before mBlocks
};

}  // namespace android
