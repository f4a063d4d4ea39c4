// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "TargetFormat.h"

#include <algorithm>
#include <cmath>

namespace oxaplayer {

namespace {

constexpr int32_t kMostChannels = 6;
constexpr int32_t kDefaultSampleRate = 48000;

// The nearest even number, the lower one of two: 161 becomes 160, 853.3 becomes 854.
int32_t even(double value) {
    return std::max(2, 2 * static_cast<int32_t>(std::ceil(value / 2 - 0.5)));
}

}  // namespace

Size uprightSize(const Track& video) {
    double width = video.width * video.pixelAspect;
    double height = video.height;
    if (video.rotationDegrees % 180 != 0) std::swap(width, height);
    const double longest = std::max({width, height, 1.0});
    const double scale = std::min(1.0, kHighestPictureSide / longest);
    return {even(width * scale), even(height * scale)};
}

android::_AV_FORMAT_FORMAT makeTargetFormat(const TranscodeOptions& options, const Track* video,
                                            const Track* audio) {
    android::_AV_FORMAT_FORMAT format = {};
    if (video != nullptr) {
        const Size size = options.size.value_or(uprightSize(*video));
        format.width = size.width;
        format.height = size.height;
    }
    format.frameRate = options.frameRate.value_or(0);
    format.bitRate = options.videoBitRate.value_or(-1);
    format.iFrameInterval = options.keyFrameIntervalSec;
    format.deinterlace = options.deinterlace.value_or(-1);
    format.level = options.level.value_or(0);
    format.profile = options.profile.value_or(0);
    if (audio != nullptr) {
        format.channelCount =
                options.audioChannels.value_or(std::clamp(audio->channels, 1, kMostChannels));
        format.sampleRate = options.audioRate.value_or(
                isAacSampleRate(audio->sampleRate) ? audio->sampleRate : kDefaultSampleRate);
    }
    return format;
}

}  // namespace oxaplayer
