// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "transcode/TargetFormat.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "encode/EncodeSetup.h"

namespace oxa::jobs {

namespace {

constexpr int32_t kDefaultSampleRate = 48000;

// The platform's constants for AVC profiles and levels.
constexpr std::array<int32_t, 3> kProfiles = {0x1, 0x2, 0x8};
constexpr std::array<std::pair<int32_t, int32_t>, 16> kLevels = {{{10, 0x1},
                                                                  {11, 0x4},
                                                                  {12, 0x8},
                                                                  {13, 0x10},
                                                                  {20, 0x20},
                                                                  {21, 0x40},
                                                                  {22, 0x80},
                                                                  {30, 0x100},
                                                                  {31, 0x200},
                                                                  {32, 0x400},
                                                                  {40, 0x800},
                                                                  {41, 0x1000},
                                                                  {42, 0x2000},
                                                                  {50, 0x4000},
                                                                  {51, 0x8000},
                                                                  {52, 0x10000}}};

// Nothing for a level that there is not.
std::optional<int32_t> platformLevel(int32_t level) {
    for (const auto& [tenths, value] : kLevels) {
        if (tenths == level) return value;
    }
    return std::nullopt;
}

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

std::optional<Failure> checkTarget(const TranscodeOptions& options) {
    if (options.level && !platformLevel(*options.level)) {
        return wrongOption("level", std::to_string(*options.level), "a level from 10 to 52");
    }
    if (options.audioRate && !isAacSampleRate(*options.audioRate)) {
        return wrongOption("audio-rate", std::to_string(*options.audioRate),
                           "a rate that AAC has, from 8000 to 96000");
    }
    if (!isWithin(options.audioChannels, 1, kMostAudioChannels)) {
        return wrongOption("audio-channels", std::to_string(*options.audioChannels), "1 to 6");
    }
    return std::nullopt;
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
    format.bitRate = options.videoBitRate.value_or(0);
    format.iFrameInterval = options.keyFrameIntervalSec;
    const bool isInterlaced = video != nullptr && video->isInterlaced;
    format.deinterlace = options.deinterlace.value_or(isInterlaced ? 1 : -1);
    format.level = platformLevel(options.level.value_or(0)).value_or(0);
    if (options.profile) format.profile = kProfiles[static_cast<size_t>(*options.profile)];
    if (audio != nullptr) {
        format.channelCount =
                options.audioChannels.value_or(std::clamp(audio->channels, 1, kMostAudioChannels));
        format.sampleRate = options.audioRate.value_or(
                isAacSampleRate(audio->sampleRate) ? audio->sampleRate : kDefaultSampleRate);
    }
    return format;
}

}  // namespace oxa::jobs
