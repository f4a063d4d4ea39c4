// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <atomic>
#include <cstdint>

#include "live/LiveReader.h"

namespace android {

// How loud captured sound is. Any thread, also several records of one microphone.
class LevelMeter {
  public:
    void add(const LiveBlock& sound);
    // The largest sample of about the last 0.3 s that came, from 0 to 1; 0 before the first.
    double peak() const;

  private:
    std::atomic<int> mPeak{0};
    std::atomic<int> mFormerPeak{0};
    std::atomic<int64_t> mWindowEndUs{0};
};

}  // namespace android
