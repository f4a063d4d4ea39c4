// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/codec/VideoJob.h"

namespace oxa::test {

// One picture by its time and a checksum over its samples.
struct FrameSum {
    int64_t timeUs = 0;
    std::string md5;
};

struct FrameSums {
    int width = 0;
    int height = 0;
    int64_t tickUs = 1;  // how fine the times are
    std::vector<FrameSum> frames;
};

// What the `ffmpeg` command makes of the first video stream, upright, with this filter chain (may
// be empty). Times are relative to the first picture.
FrameSums commandSums(const std::string& path, const std::string& filters);

// What a decoder without a surface makes of it; of the options it takes path, size (0: none is
// asked for), frame rate, de-interlacing and onSample. Empty after a failure. Times as above.
FrameSums decoderSums(const VideoJobOptions& options);

}  // namespace oxa::test
