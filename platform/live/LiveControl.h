// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/RefBase.h>

#include <cstdint>

#include "base/AnnotatedMutex.h"

namespace android {

// What can happen to a source from outside while readers read it: it stalls, is lost, changes its
// picture's size. Readers wait here, so that they notice at once. Thread-safe.
class LiveControl : public RefBase {
  public:
    enum class Outcome { kDue, kInterrupted, kLost, kTimedOut };

    // Nothing comes while it is stalled; what would have come meanwhile is gone.
    void setStalled(bool stalled);
    // The device has been pulled out; or put back, for readers that are opened then.
    void setLost(bool lost);
    bool isLost() const;
    // The source delivers pictures of this size from now on; 0 x 0: its own.
    void setPictureSize(int width, int height);
    void pictureSize(int* width, int* height) const;

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
    int mWidth GUARDED_BY(mLock) = 0;
    int mHeight GUARDED_BY(mLock) = 0;
};

}  // namespace android
