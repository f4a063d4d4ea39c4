// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <string>

#include "ffmpeg/AvOwner.h"
#include "graphics/PictureQueue.h"

namespace android {

// What an H.264 encoder of libavcodec's is opened for.
struct AvcCodecOptions {
    int32_t width = 0;
    int32_t height = 0;
    AVPixelFormat pixelFormat = AV_PIX_FMT_YUV420P;
    int32_t bitrate = 0;  // bits per second; 0: constant quality, the session's
    float frameRate = 30;
    float keyIntervalSec = 2;      // 0: only key frames, negative: only the first
    int32_t profile = 0;           // as the platform numbers them; 0: the encoder's choice
    int level = FF_LEVEL_UNKNOWN;  // as the stream's header has it; the same
    bool isLive = false;           // a picture comes out before the next one goes in
    bool isMeasured = false;       // all work is that of the thread which gives the pictures
    std::string preset;
    std::optional<PictureFormat> colours;
};

// Times are in microseconds, and there are no B-frames. Null, which is logged, when it cannot be
// opened.
AvCodecOwner openAvcCodec(const AvcCodecOptions& options);

// How many threads share its work.
int avcCodecThreads(const AvcCodecOptions& options);

}  // namespace android
