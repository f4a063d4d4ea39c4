// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/EncoderRate.h>

#include "base/SessionState.h"

namespace oxa::host {

namespace {

constexpr int kUsualQuality = 23;
constexpr int kWorstQuality = 51;

SessionValue<int> gQuality(kUsualQuality);
SessionValue<std::optional<int32_t>> gSoundBitRate;

}  // namespace

bool setEncoderQuality(int quality) {
    if (quality < 0 || quality > kWorstQuality) return false;
    gQuality.set(quality);
    return true;
}

int encoderQuality() {
    return gQuality.get();
}

void setSoundBitRate(std::optional<int32_t> bitsPerSecond) {
    gSoundBitRate.set(bitsPerSecond);
}

std::optional<int32_t> soundBitRate() {
    return gSoundBitRate.get();
}

}  // namespace oxa::host
