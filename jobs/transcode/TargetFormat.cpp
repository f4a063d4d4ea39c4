// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "transcode/TargetFormat.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "encode/EncodeSetup.h"
#include "transcode/AvcLevel.h"

namespace oxa::jobs {

namespace {

constexpr int32_t kDefaultSampleRate = 48000;

// The platform's constants for AVC profiles.
constexpr std::array<int32_t, 3> kProfiles = {0x1, 0x2, 0x8};

// The nearest even number, the lower one of two: 161 becomes 160, 853.3 becomes 854.
int32_t even(double value) {
    return std::max(2, 2 * static_cast<int32_t>(std::ceil(value / 2 - 0.5)));
}

// The same, but not above `limit`.
int32_t evenUpTo(double value, int32_t limit) {
    return std::min(even(value), std::max(2, limit / 2 * 2));
}

bool isFrameSide(int32_t side) {
    return side >= kLowestPictureSide && side <= kHighestPictureSide;
}

std::string sizeText(Size size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

// Upright, with square pixels.
void shapeOf(const Track& video, double* width, double* height) {
    *width = video.width * video.pixelAspect;
    *height = video.height;
    if (video.rotationDegrees % 180 != 0) std::swap(*width, *height);
}

}  // namespace

double encodedRate(const TranscodeOptions& options, const Track& video, int32_t deinterlace) {
    if (options.frameRate) return *options.frameRate;
    const Ratio& exact = video.exactFrameRate;
    const double rate = exact.numerator > 0
                                ? static_cast<double>(exact.numerator) / exact.denominator
                                : video.frameRate.value_or(0);
    return deinterlace == 2 ? 2 * rate : rate;
}

Size uprightSize(const Track& video) {
    return fittingSize(video, std::nullopt);
}

Size fittingSize(const Track& video, const std::optional<PictureFrame>& frame) {
    double width = 0;
    double height = 0;
    shapeOf(video, &width, &height);
    Size limit = frame ? frame->size : Size{kHighestPictureSide, kHighestPictureSide};
    if (frame && frame->turnsWithPicture && height > width) std::swap(limit.width, limit.height);
    const double scale = std::min(
            {1.0, limit.width / std::max(width, 1.0), limit.height / std::max(height, 1.0)});
    return {evenUpTo(width * scale, limit.width), evenUpTo(height * scale, limit.height)};
}

std::optional<Failure> checkTarget(const TranscodeOptions& options) {
    if (options.level && findLevel(*options.level) == nullptr) {
        return wrongOption("level", std::to_string(*options.level), "a level from 10 to 52");
    }
    if (options.maxSize && (options.size || !isFrameSide(options.maxSize->size.width) ||
                            !isFrameSide(options.maxSize->size.height))) {
        return wrongOption("max-size", sizeText(options.maxSize->size),
                           "16 to 8192, and no other size");
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

std::optional<Failure> checkLevel(const TranscodeOptions& options, const Track& video,
                                  const android::_AV_FORMAT_FORMAT& format) {
    if (!options.level) return std::nullopt;
    const double rate = encodedRate(options, video, format.deinterlace);
    const bool isHigh = options.profile.value_or(AvcProfile::kHigh) == AvcProfile::kHigh;
    const AvcLevel* lowest =
            lowestLevel({format.width, format.height}, rate, format.bitRate, isHigh);
    if (lowest != nullptr && lowest->tenths <= *options.level) return std::nullopt;
    const std::string what = sizeText({format.width, format.height});
    if (lowest == nullptr) {
        return wrongOption("level", levelText(*options.level),
                           "a smaller picture or rate: no level is enough for " + what);
    }
    return wrongOption("level", levelText(*options.level),
                       levelText(lowest->tenths) + " or higher for " + what + " at these rates");
}

android::_AV_FORMAT_FORMAT makeTargetFormat(const TranscodeOptions& options, const Track* video,
                                            const Track* audio) {
    android::_AV_FORMAT_FORMAT format = {};
    if (video != nullptr) {
        const Size size = options.size.value_or(fittingSize(*video, options.maxSize));
        format.width = size.width;
        format.height = size.height;
    }
    format.frameRate = options.frameRate.value_or(0);
    format.bitRate = options.videoBitRate.value_or(0);
    format.iFrameInterval = options.keyFrameIntervalSec;
    const bool isInterlaced = video != nullptr && video->isInterlaced;
    format.deinterlace = options.deinterlace.value_or(isInterlaced ? 1 : -1);
    if (options.level) format.level = findLevel(*options.level)->platformNumber;
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
