// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>

namespace android {

// Watches a writer who brings each piece of sound when it is due. A piece that came too late, the
// first one or one after an underrun, is heard late, and so is all that follows it; this tells when
// that is the case, and by how much.
// A writer who fills the track ahead of time is left alone. Not thread-safe.
class PacedWriter {
  public:
    // The sound ran dry.
    void onUnderrun();
    // A piece is heard `delayUs` after it was written, where `wantedUs` is what a piece in time
    // needs. Returns how much less the delay shall be, mostly 0.
    int64_t onWrite(int64_t delayUs, int64_t wantedUs);

  private:
    // Pieces that catch up come at once, before those that are in time again. At the beginning it
    // takes some more to see whether the writer is ahead.
    static constexpr int kCatchingUp = 2;
    static constexpr int kBeginning = 16;
    static constexpr int kLooks = 4;
    static constexpr int64_t kAheadUs = 80000;
    static constexpr int64_t kToleranceUs = 1000;

    bool mAhead = false;
    bool mDoubted = true;
    int mToPass = kBeginning;  // pieces without a look
    int mWrites = 0;           // since the underrun, or since the last answer
    int64_t mLeastUs = 0;
};

}  // namespace android
