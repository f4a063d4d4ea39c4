// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/EncoderPreset.h>

#include <algorithm>
#include <array>
#include <mutex>

namespace oxa::host {

namespace {

constexpr std::array<const char*, 10> kPresets = {"ultrafast", "superfast", "veryfast", "faster",
                                                  "fast",      "medium",    "slow",     "slower",
                                                  "veryslow",  "placebo"};

std::mutex gPresetLock;
std::string gPreset = "veryfast";  // guarded by gPresetLock

}  // namespace

bool setEncoderPreset(const std::string& preset) {
    if (std::find(kPresets.begin(), kPresets.end(), preset) == kPresets.end()) return false;
    std::lock_guard<std::mutex> lock(gPresetLock);
    gPreset = preset;
    return true;
}

std::string encoderPreset() {
    std::lock_guard<std::mutex> lock(gPresetLock);
    return gPreset;
}

}  // namespace oxa::host
