// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>

struct AVFrame;

namespace android {

// The times of a source's frames, in microseconds. In a raw stream frames have none.
class FrameTimes {
  public:
    // `timeUs` as the source tells it; AV_NOPTS_VALUE: the frame begins where the former has ended,
    // of which pictures need the rate (0: unknown).
    int64_t next(const AVFrame& frame, int64_t timeUs, double picturesPerSecond);

  private:
    int64_t mEndUs = 0;  // of the former
};

}  // namespace android
