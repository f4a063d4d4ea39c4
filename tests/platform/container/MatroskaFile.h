// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace oxa::test {

// What stands in a Matroska file, sensible or not: `ffmpeg` writes no wrong ones.
struct MatroskaTrack {
    bool video = false;
    std::string codec = "A_PCM/INT/LIT";  // 16 bits
    int width = 0;
    int height = 0;
    int channels = 2;
    double sampleRate = 48000;
    std::string language;
    size_t codecDataBytes = 0;
};

struct MatroskaSample {
    uint8_t track;  // counted from 1
    uint64_t time;  // in units of the file's scale
    std::string data;
};

struct MatroskaFile {
    uint64_t scaleNs = 1000000;
    std::vector<MatroskaTrack> tracks;
    std::vector<MatroskaSample> samples;
};

// The bytes of such a file.
std::string makeMatroska(const MatroskaFile& file);

}  // namespace oxa::test
