// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/RefBase.h>

#include <cstdint>
#include <string>

#include "base/AnnotatedMutex.h"

namespace android {

// When a paced source has begun, on the monotonic clock. Readers of one source share it, so that
// its pictures and its sound keep their offset, whoever starts first. Thread-safe.
class LiveClock : public RefBase {
  public:
    // The one of this source text, as long as somebody in the process holds it; else a new one.
    static sp<LiveClock> forSource(const std::string& source);

    // The first call makes `nowUs` the origin. Returns the origin, in microseconds.
    int64_t start(int64_t nowUs);

  private:
    AnnotatedMutex mLock;
    bool mStarted GUARDED_BY(mLock) = false;
    int64_t mOriginUs GUARDED_BY(mLock) = 0;
};

}  // namespace android
