// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "ffmpeg/MediaLimits.h"

#include <algorithm>

#include "ffmpeg/TimeBase.h"

extern "C" {
#include <libavutil/mathematics.h>
#include <libavutil/mem.h>
}

namespace android {

namespace {

// With a fine time base a hundred years are more than 64 bits can count.
constexpr int64_t kMaxTicks = INT64_MAX / 4;

}  // namespace

bool isPictureSizeAllowed(int64_t width, int64_t height) {
    return width > 0 && width <= limits::kMaxPictureSide && height > 0 &&
           height <= limits::kMaxPictureSide && width * height <= limits::kMaxPicturePoints;
}

bool isSoundAllowed(int channels, int sampleRate) {
    return channels > 0 && channels <= limits::kMaxChannels &&
           sampleRate >= limits::kMinSampleRate && sampleRate <= limits::kMaxSampleRate;
}

bool isTimeAllowed(int64_t time, AVRational timeBase) {
    if (time < -kMaxTicks || time > kMaxTicks) return false;
    const int64_t timeUs = av_rescale_q(time, timeBase, kMicroseconds);
    return timeUs == clampTimeUs(timeUs);
}

int64_t clampTimeUs(int64_t timeUs) {
    return std::clamp(timeUs, -limits::kMaxTimeUs, limits::kMaxTimeUs);
}

void limitAvAllocations() {
    av_max_alloc(limits::kMaxAllocationBytes);
}

}  // namespace android
