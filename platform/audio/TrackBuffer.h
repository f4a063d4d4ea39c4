// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/RefBase.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

#include "audio/PacedWriter.h"
#include "audio/SoundSink.h"
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
    using Lock = std::unique_lock<std::mutex>;

    // Frames that were pulled and perhaps not heard yet.
    struct Block {
        int64_t heardAtUs;
        int64_t frames;
    };

    static constexpr std::chrono::milliseconds kStuckTime{1000};
    static constexpr std::chrono::milliseconds kRetryTime{10};
    static constexpr size_t kFadeFrames = 256;

    bool roomForAllLocked(size_t frames) const { return mCapacity - mCount >= frames; }
    bool waitForRoomLocked(Lock& lock);
    bool waitUntilHeardLocked(Lock& lock);
    size_t putLocked(const int16_t* samples, size_t frames);
    size_t leaveOutLocked(const int16_t* samples, size_t frames);
    void crossFadeLocked(const int16_t* samples, size_t frames);
    void takeLocked(int16_t* samples, size_t frames);
    void noteUnderrunLocked(int64_t heardAtUs);
    size_t leadFramesLocked(size_t frames, int64_t heardAtUs) const;
    void noteHeardLocked(size_t frames, int64_t heardAtUs);
    void endLocked();
    void clearLocked();
    int64_t positionLocked(int64_t nowUs);

    const SoundFormat mFormat;
    const size_t mCapacity;  // frames
    const sp<SessionClock> mClock;
    int64_t mLatencyUs = 0;  // constant once started
    std::atomic<float> mVolume{1.0f};

    std::mutex mLock;
    std::condition_variable mChanged;
    // All below guarded by mLock.
    std::vector<int16_t> mRing;
    size_t mFirst = 0;  // frame index in mRing
    size_t mCount = 0;
    bool mActive = false;
    bool mDraining = false;
    bool mQuit = false;
    bool mStuck = false;  // the sink does not pull; cleared when it does
    bool mStuckTold = false;
    bool mPulled = false;      // since begin()
    bool mDry = true;          // nothing to play: the next sound waits until mSoundFromUs
    int64_t mSoundFromUs = 0;  // in the sink's pull time
    int64_t mFirstLeadUs = kLongestLeadUs;
    int64_t mLeadUs = kLongestLeadUs;
    int64_t mLastUnderrunUs = 0;  // as heard
    int64_t mNextPullUs = 0;      // when the sink takes what comes after the last fill()
    PacedWriter mWriter;
    size_t mLateFrames = 0;  // to be left out
    bool mUnderrun = false;  // to be reported
    std::deque<Block> mBlocks;
    int64_t mHeard = 0;  // frames before mBlocks
};

}  // namespace android
