// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "live/LevelMeter.h"

#include <algorithm>
#include <cstdlib>

namespace android {

namespace {

constexpr int64_t kWindowUs = 150000;
constexpr double kFullScale = 32768;

}  // namespace

void LevelMeter::add(const LiveBlock& sound) {
    if (sound.timeUs >= mWindowEndUs) {
        mWindowEndUs = sound.timeUs + kWindowUs;
        mFormerPeak = mPeak.exchange(0);
    }
    int peak = mPeak;
    for (const int16_t sample : sound.samples)
        peak = std::max(peak, std::abs(static_cast<int>(sample)));
    mPeak = peak;
}

double LevelMeter::peak() const {
    return std::max<int>(mPeak, mFormerPeak) / kFullScale;
}

}  // namespace android
