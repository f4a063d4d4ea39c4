// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/RefBase.h>

#include <cstdint>

#include "base/AnnotatedMutex.h"

namespace android {

// The media time of one audio session: what the listener hears now. The audio decoder of a session
// says where its sound begins, the AudioTrack says when its frames are heard, and a video decoder
// that renders by itself shows each picture when the clock has reached it.
//
// One timeline for the reader:
//   - Until sound is heard nothing is due. When no sound has come kSoundWaitUs after the reader's
//     first call, the monotonic clock takes over, from that call's picture on.
//   - With sound it is (time of the first sound) + (frames heard), running on between two blocks
//     and also when the sound runs dry or has ended.
//   - When the two disagree (sound that comes late, or again after a break), the time moves towards
//     the sound continuously: it stands still while it is ahead of the sound, and runs at most
//     twice as fast while it is behind. So it neither jumps nor goes backward.
//
// All calls are thread-safe and do not wait. "nowUs" and "heardAtUs" are microseconds of
// CLOCK_MONOTONIC; they are parameters so that tests can bring their own.
class SessionClock : public RefBase {
  public:
    // What mediaTimeUs() answers before the clock runs: earlier than every picture.
    static constexpr int64_t kNotRunning = INT64_MIN;
    // How long pictures wait for the sound of their session to begin.
    static constexpr int64_t kSoundWaitUs = 500000;

    // The clock of a hardware sync id as AudioSystem::getAudioHwSyncForSession() gives it, shared
    // by all who ask while one of them holds it. For 0 or an unknown id a new one of the caller's
    // own, which runs from its first reading on.
    static sp<SessionClock> forHwSync(int32_t hwSync);

    // Audio decoder, before its first output is taken: the media time of the session's first
    // sample. Called again (a decoder that starts anew) it counts frames from there. 0 until then.
    void setFirstTimeUs(int64_t timeUs);

    // AudioTrack: the next `frames` frames of the session are heard from `heardAtUs` on, which may
    // lie a little ahead. Silence of the track's own (start, underrun) is not reported.
    void onSoundHeard(int64_t frames, int32_t sampleRate, int64_t heardAtUs);

    // Video decoder: the media time now, or kNotRunning. `pictureUs` is the time of the picture
    // that waits to be shown; only that of the first call counts, as the begin of a clock without
    // sound. The time passes at most twice as fast as the monotonic clock, so a reader may sleep
    // for half the difference to its picture.
    int64_t mediaTimeUs(int64_t nowUs, int64_t pictureUs);

  protected:
    ~SessionClock() override = default;

  private:
    explicit SessionClock(bool hasSound) : mHasSound(hasSound) {}

    bool startReadingLocked(int64_t nowUs, int64_t pictureUs) REQUIRES(mLock);
    int64_t soundTimeUsLocked() const REQUIRES(mLock);

    const bool mHasSound;  // false: nobody will report sound
    AnnotatedMutex mLock;
    int64_t mFirstTimeUs GUARDED_BY(mLock) = 0;  // media time of frame 0 of mFrames
    int64_t mFrames GUARDED_BY(mLock) = 0;       // reported since mFirstTimeUs, at mSampleRate
    int32_t mSampleRate GUARDED_BY(mLock) = 0;
    bool mHeard GUARDED_BY(mLock) = false;  // sound was reported
    // Where the time moves to: media time - monotonic time.
    int64_t mOffsetUs GUARDED_BY(mLock) = 0;
    bool mAsked GUARDED_BY(mLock) = false;  // the reader has called
    int64_t mFirstAskUs GUARDED_BY(mLock) = 0;
    int64_t mFirstPictureUs GUARDED_BY(mLock) = 0;
    bool mRunning GUARDED_BY(mLock) = false;
    int64_t mLastUs GUARDED_BY(mLock) = 0;     // what the reader was told last
    int64_t mLastNowUs GUARDED_BY(mLock) = 0;  // and when
};

}  // namespace android
