// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>

#include <map>

namespace android {

// Joins the pieces of a timeline that jumps, as in a transport stream that was put together from
// several: after a jump the times go on from where they were. All streams of a file must be shown
// to it, in the order of the file, so that every reader of the file finds the same timeline.
// Not locked.
class TimelineSmoother {
  public:
    // What to add to this packet's times. Microseconds; the times are decoding times.
    int64_t shiftFor(int stream, int64_t timeUs, int64_t durationUs);

    // After a seek the times start afresh.
    void reset();

  private:
    int64_t expectedUs(int stream) const;
    bool isJump(int stream, int64_t deltaUs) const;
    bool belongsToFormerPart(int stream, int64_t timeUs) const;

    int64_t mShiftUs = 0;
    // The shift before the last jump: packets that are written with a delay still need it.
    int64_t mFormerShiftUs = 0;
    bool mJumped = false;
    int64_t mJumpUs = 0;  // where the last jump was, shifted
    bool mStarted = false;
    int64_t mLastUs = 0;             // end of the last packet, shifted
    std::map<int, int64_t> mNextUs;  // of each stream: end of its last packet, shifted
};

}  // namespace android
