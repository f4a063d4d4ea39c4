// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "record/RecordFormat.h"

#include <algorithm>
#include <sstream>

namespace oxa::jobs {

using android::CameraParameters;

namespace {

constexpr int32_t kChannels = 2;
constexpr int32_t kSampleRate = 48000;

using Sizes = android::Vector<android::Size>;

bool has(const Sizes& sizes, int32_t width, int32_t height) {
    return std::any_of(sizes.begin(), sizes.end(), [&](const android::Size& size) {
        return size.width == width && size.height == height;
    });
}

std::string sizeText(int32_t width, int32_t height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

// The receiver shows nothing larger than what comes in, but what is recorded may be scaled up.
Size previewSizeFor(Size size, const CameraParameters& camera, bool isHdmi) {
    if (!isHdmi) return size;
    int width = 0;
    int height = 0;
    camera.getPreviewSize(&width, &height);
    return {std::min(size.width, width), std::min(size.height, height)};
}

bool canRecord(const CameraParameters& camera, bool isHdmi, Size size) {
    Sizes previewSizes;
    Sizes videoSizes;
    camera.getSupportedPreviewSizes(previewSizes);
    camera.getSupportedVideoSizes(videoSizes);
    const Size preview = previewSizeFor(size, camera, isHdmi);
    return has(videoSizes, size.width, size.height) &&
           has(previewSizes, preview.width, preview.height);
}

std::string offeredSizes(const CameraParameters& camera) {
    Sizes sizes;
    camera.getSupportedPreviewSizes(sizes);
    std::string text;
    for (const android::Size& size : sizes) {
        text += (text.empty() ? "" : ", ") + sizeText(size.width, size.height);
    }
    return text;
}

std::string offeredRates(const CameraParameters& camera) {
    const char* rates = camera.get(CameraParameters::KEY_SUPPORTED_PREVIEW_FRAME_RATES);
    return rates != nullptr ? rates : "";
}

bool hasRate(const CameraParameters& camera, int32_t frameRate) {
    std::istringstream stream(offeredRates(camera));
    for (std::string rate; std::getline(stream, rate, ',');) {
        if (rate == std::to_string(frameRate)) return true;
    }
    return false;
}

// The recorder thins the receiver's pictures by whole steps, and takes 30 of them a second for
// granted: a slower signal needs a target that gives the same step.
void chooseHdmiRate(std::optional<int32_t> wanted, int32_t signalRate,
                    android::_AV_FORMAT_FORMAT* format, int32_t* frameRate) {
    signalRate = std::clamp(signalRate, 1, kHighestHdmiFrameRate);
    const int32_t step = std::max(1, signalRate / wanted.value_or(signalRate));
    *frameRate = std::max(1, signalRate / step);
    const bool sameStep = kHighestHdmiFrameRate / *frameRate == step;
    format->frameRate = sameStep ? *frameRate : kHighestHdmiFrameRate / step;
}

}  // namespace

std::optional<Failure> chooseVideoFormat(const EncodeOptions& options,
                                         const CameraParameters& camera, bool isHdmi,
                                         android::_AV_FORMAT_FORMAT* format, int32_t* frameRate) {
    camera.getPreviewSize(&format->width, &format->height);
    if (options.size) {
        format->width = options.size->width;
        format->height = options.size->height;
    }
    if (!canRecord(camera, isHdmi, {format->width, format->height})) {
        return Failure{FailureKind::kOptions,
                       "size '" + sizeText(format->width, format->height) + "': the camera has " +
                               offeredSizes(camera),
                       Hint::kOtherValue};
    }
    if (isHdmi) {
        chooseHdmiRate(options.frameRate, camera.getPreviewFrameRate(), format, frameRate);
    } else {
        format->frameRate = options.frameRate.value_or(camera.getPreviewFrameRate());
        *frameRate = format->frameRate;
    }
    if (!isHdmi && !hasRate(camera, format->frameRate)) {
        return Failure{FailureKind::kOptions,
                       "fps '" + std::to_string(format->frameRate) + "': the camera has " +
                               offeredRates(camera),
                       Hint::kOtherValue};
    }
    format->bitRate = options.videoBitRate.value_or(0);
    format->iFrameInterval = options.keyFrameIntervalSec;
    format->deinterlace = options.deinterlace.value_or(-1);
    return std::nullopt;
}

CameraForm cameraFormFor(const android::_AV_FORMAT_FORMAT& format, const CameraParameters& camera,
                         bool isHdmi) {
    return {previewSizeFor({format.width, format.height}, camera, isHdmi),
            isHdmi ? kHighestHdmiFrameRate : format.frameRate};
}

int32_t keyFrameIntervalFor(int64_t splitUs, int32_t longest) {
    int32_t interval = longest;
    while (interval > 1 && splitUs % (interval * int64_t{1'000'000}) != 0)
        --interval;
    return interval;
}

void chooseAudioFormat(android::_AV_FORMAT_FORMAT* format) {
    format->channelCount = kChannels;
    format->sampleRate = kSampleRate;
}

}  // namespace oxa::jobs
