// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <deque>

#include "ffmpeg/AvOwner.h"

namespace android {

// Makes the times (`pts`) of a stream's pictures rise, so that none of them has to be dropped.
// Pictures that are later than the one before pass with the time they have. One that is not waits
// for the next that is, and has a place between the two; where none comes, in a long run or at the
// end, pictures follow each other at the stream's own pace.
//
// Thread-bound.
class TimeSpreader {
  public:
    TimeSpreader() = default;
    TimeSpreader(const TimeSpreader&) = delete;
    TimeSpreader& operator=(const TimeSpreader&) = delete;

    // Starts afresh. Pictures that are spread are at most `step` apart, and all at least `least`.
    void start(int64_t step, int64_t least);

    // True: the frame goes on as it is. False: its references were taken over, and pull() gives
    // what can go on.
    bool passes(AVFrame* frame);
    // No frame follows: all can go on.
    void finish();
    // False when there is nothing at the moment.
    bool pull(AVFrame* frame);

    // `time`, as an end of the last picture, if that was not spread beyond it.
    int64_t endBehindLast(int64_t time) const {
        return mHasLast && time <= mLast ? mLast + mStep : time;
    }

  private:
    // A run that is longer has no end in sight, and pictures are large.
    static constexpr size_t kMostHeld = 4;

    void hold(AVFrame* frame);
    void release(int64_t distance);

    int64_t mStep = 1;
    int64_t mLeast = 1;
    bool mHasLast = false;
    int64_t mLast = 0;  // of the picture that went on last, or can
    bool mInLongRun = false;
    std::deque<AvFrameOwner> mHeld;   // that are not later than mLast
    std::deque<AvFrameOwner> mReady;  // that can be pulled
};

}  // namespace android
