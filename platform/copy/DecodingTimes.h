// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>

#include <set>

namespace android {

// Decoding times of pictures whose container has times of presentation alone: with pictures in the
// order of decoding, each is decoded when the one is shown that lies `delay` pictures before it.
// Times are in any one unit.
class DecodingTimes {
  public:
    explicit DecodingTimes(int delay) : mDelay(delay) {}

    // Of the next picture, which lasts `duration`.
    int64_t next(int64_t presentationTime, int64_t duration);

  private:
    const int mDelay;
    int mCount = 0;
    int64_t mFirst = 0;
    std::multiset<int64_t> mShownLater;
};

}  // namespace android
