// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/EncoderPreset.h>

#include <algorithm>
#include <array>

#include "base/SessionState.h"

namespace oxa::host {

namespace {

constexpr std::array<const char*, 10> kPresets = {"ultrafast", "superfast", "veryfast", "faster",
                                                  "fast",      "medium",    "slow",     "slower",
                                                  "veryslow",  "placebo"};

SessionValue<std::string> gPreset("veryfast");

}  // namespace

bool setEncoderPreset(const std::string& preset) {
    if (std::find(kPresets.begin(), kPresets.end(), preset) == kPresets.end()) return false;
    gPreset.set(preset);
    return true;
}

std::string encoderPreset() {
    return gPreset.get();
}

}  // namespace oxa::host
