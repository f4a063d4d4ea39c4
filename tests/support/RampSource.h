// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace oxa::test {

// Samples that count: 0, 1, ... 29999, 0, ... on all channels, so that a lost or doubled sample
// shows. Full for the conversions of the platform as long as neither rate nor channels change.
constexpr int kRampLength = 30000;

inline std::string rampSource(int sampleRate, const std::string& layout = "mono",
                              double seconds = 0) {
    const std::string value = "mod(n\\," + std::to_string(kRampLength) + ")/32768";
    return "lavfi:aevalsrc='" + value + (layout == "stereo" ? "|" + value : "") +
           "':s=" + std::to_string(sampleRate) + ":c=" + layout +
           (seconds > 0 ? ":d=" + std::to_string(seconds) : "");
}

// How many of the frames do not follow the one before.
inline size_t rampBreaks(const std::vector<int16_t>& samples, int channels) {
    size_t breaks = 0;
    for (size_t i = channels; i < samples.size(); ++i) {
        if (samples[i] != (samples[i - channels] + 1) % kRampLength) ++breaks;
    }
    return breaks;
}

}  // namespace oxa::test
