// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "oxa/jobs/OutputOptions.h"
#include "oxa/jobs/Track.h"

namespace oxa::jobs {

// Limits of what can be encoded.
constexpr int32_t kLowestPictureSide = 16;
constexpr int32_t kHighestPictureSide = 8192;
constexpr int32_t kHighestFrameRate = 240;
constexpr int32_t kHighestBitRate = 1'000'000'000;
constexpr int32_t kLowestQuality = 51;
constexpr int32_t kLowestAudioBitRate = 8'000;
constexpr int32_t kHighestAudioBitRate = 1'000'000;
constexpr int32_t kLongestKeyFrameIntervalSec = 600;
constexpr int32_t kMostAudioChannels = 6;

struct Size {
    int32_t width;
    int32_t height;
};

// What a job that encodes can be asked about its output. A value that was not given is taken from
// the source. What is outside its limits is answered with FailureKind::kOptions.
struct EncodeOptions : OutputOptions {
    std::optional<Size> size;          // both even, 16 to 8192; else upright, square pixels
    std::optional<int32_t> frameRate;  // frames a second, 1 to 240
    // Constant quality, 0 (without loss) to 51; smaller is better and larger. Or bits a second, up
    // to 1,000,000,000, instead.
    int32_t quality = 23;
    std::optional<int32_t> videoBitRate;
    // Bits a second, 8,000 to 1,000,000. Not given: 128,000, with more than two channels 384,000.
    std::optional<int32_t> audioBitRate;
    int32_t keyFrameIntervalSec = 2;  // 0 to 600; 0: every frame is one
    // 0 off, 1 keep the rate, 2 double it; not given: 1 for a file that says it is interlaced.
    std::optional<int32_t> deinterlace;
    // ultrafast to placebo; not given: veryfast, of a recording (or "auto") the slowest one up to
    // veryfast that keeps up and leaves a third of the machine to others. For that the encoder is
    // measured for 0.3 s, once for each size and rate: $XDG_CACHE_HOME/oxaplayer/presets.
    std::optional<std::string> preset;
    Only only = Only::kBoth;
};

// Whether AAC has this rate, in Hz: 8000, 11025, ... 96000.
bool isAacSampleRate(int32_t sampleRate);

}  // namespace oxa::jobs
