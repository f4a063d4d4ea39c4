// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/RefBase.h>

#include <cstdint>

#include "base/AnnotatedMutex.h"

namespace android {

// The form in which a source's pictures come.
struct LiveSignal {
    int width = 0;  // 0 x 0: the source's own
    int height = 0;
    int frameRate = 0;  // at most so many a second; 0: all that the source has
    bool interlaced = false;
};

// What can happen to a source from outside while readers read it: it stalls, is lost, changes its
// pictures' form. Readers wait here, so that they notice at once. Thread-safe.
class LiveControl : public RefBase {
  public:
    enum class Outcome { kDue, kInterrupted, kLost, kTimedOut };

    // Nothing comes while it is stalled; what would have come meanwhile is gone.
    void setStalled(bool stalled);
    // The device has been pulled out; or put back, for readers that are opened then.
    void setLost(bool lost);
    bool isLost() const;
    // The source delivers such pictures from now on.
    void setSignal(const LiveSignal& signal);
    LiveSignal signal() const;

    // For readers. Waits until `timeUs` of the monotonic clock, longer while the source is stalled:
    // up to `limitUs` after the stall began (0: as long as it takes). `interrupted` belongs to the
    // reader and is changed by setInterrupted() only. `wasStalled` is set when time was lost.
    Outcome waitUntil(int64_t timeUs, int64_t limitUs, const bool& interrupted, bool* wasStalled);
    void setInterrupted(bool* flag, bool interrupted);
    bool isInterrupted(const bool& flag) const;

  private:
    void waitUntilLocked(int64_t timeUs) REQUIRES(mLock);

    mutable AnnotatedMutex mLock;
    AnnotatedCondition mChanged;
    bool mStalled GUARDED_BY(mLock) = false;
    int64_t mStalledSinceUs GUARDED_BY(mLock) = 0;
    bool mLost GUARDED_BY(mLock) = false;
    LiveSignal mSignal GUARDED_BY(mLock);
};

}  // namespace android
