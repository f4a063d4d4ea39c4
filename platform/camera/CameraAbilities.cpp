// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "CameraAbilities"

#include "camera/CameraAbilities.h"

#include <string.h>

#include <algorithm>
#include <cerrno>
#include <cmath>

#include "live/LiveReader.h"
#include "live/V4l2Modes.h"

namespace android {

namespace {

// What sources that can be scaled are offered in, besides their own size.
const Size kUsualSizes[] = {
        Size(1920, 1080), Size(1280, 720), Size(960, 540), Size(854, 480),
        Size(720, 576),   Size(720, 480),  Size(640, 480), Size(640, 360),
        Size(480, 270),   Size(320, 240),  Size(320, 180),
};
constexpr int kUsualRates[] = {5, 10, 12, 15, 20, 24, 25, 30, 50, 60};
constexpr int kUsualRate = 30;
constexpr int kHighestRate = 120;

bool has(const std::vector<Size>& sizes, int width, int height) {
    return std::any_of(sizes.begin(), sizes.end(), [&](const Size& size) {
        return size.width == width && size.height == height;
    });
}

void add(std::vector<Size>* sizes, const Size& size) {
    if (!has(*sizes, size.width, size.height)) sizes->push_back(size);
}

bool fits(const Size& size, int width, int height) {
    return size.width <= width && size.height <= height;
}

// The camera scales and thins: it offers all that is not more than what comes.
void offerScaled(const Size& own, double ownRate, CameraAbilities* abilities) {
    abilities->previewSizes.push_back(own);
    abilities->videoSizes.push_back(own);
    const int largestWidth = std::max(own.width, kUsualSizes[0].width);
    const int largestHeight = std::max(own.height, kUsualSizes[0].height);
    for (const Size& size : kUsualSizes) {
        if (fits(size, own.width, own.height)) add(&abilities->previewSizes, size);
        if (fits(size, largestWidth, largestHeight)) add(&abilities->videoSizes, size);
    }
    const int rounded = std::clamp(static_cast<int>(std::lround(ownRate)), 1, kHighestRate);
    abilities->frameRate = ownRate > 0 ? rounded : kUsualRate;
    // The usual rate is always accepted: a slower source comes in its own.
    const int highest = std::max(abilities->frameRate, kUsualRate);
    for (const int rate : kUsualRates) {
        if (rate <= highest) abilities->frameRates.push_back(rate);
    }
    abilities->frameRates.push_back(abilities->frameRate);
}

bool askDevice(const std::string& path, CameraAbilities* abilities, std::string* cause,
               int* error) {
    const std::vector<V4l2Mode> modes = v4l2Modes(path, error);
    if (*error != 0) {
        *cause = "cannot open '" + path + "': " + strerror(*error);
        return false;
    }
    const V4l2Mode* const first = chooseV4l2Mode(modes, 0, 0, kUsualRate);
    add(&abilities->previewSizes, Size(first->width, first->height));
    for (const V4l2Mode& mode : modes) {
        add(&abilities->previewSizes, Size(mode.width, mode.height));
        abilities->frameRates.insert(abilities->frameRates.end(), mode.frameRates.begin(),
                                     mode.frameRates.end());
    }
    abilities->videoSizes = abilities->previewSizes;
    const int highest = first->highestRate();
    abilities->frameRate = highest > 0 ? std::min(highest, kUsualRate) : kUsualRate;
    abilities->frameRates.push_back(abilities->frameRate);
    return true;
}

bool askReader(const std::string& source, const sp<LiveControl>& control,
               CameraAbilities* abilities, std::string* cause) {
    LiveOptions options;
    options.source = source;
    const std::unique_ptr<LiveReader> reader = LiveReader::open(options, cause);
    if (reader == nullptr) return false;
    Size own(reader->info().width, reader->info().height);
    const LiveSignal signal = control != nullptr ? control->signal() : LiveSignal();
    if (signal.width > 0) own = Size(signal.width, signal.height);
    const double rate = reader->info().frameRate;
    const bool isThinned = signal.frameRate > 0 && (rate == 0 || rate > signal.frameRate);
    offerScaled(own, isThinned ? signal.frameRate : rate, abilities);
    return true;
}

std::string listOf(const std::vector<Size>& sizes) {
    std::string text;
    for (const Size& size : sizes) {
        if (!text.empty()) text += ',';
        text += std::to_string(size.width) + "x" + std::to_string(size.height);
    }
    return text;
}

std::string listOf(const std::vector<int>& rates) {
    std::string text;
    for (const int rate : rates) {
        if (!text.empty()) text += ',';
        text += std::to_string(rate);
    }
    return text;
}

}  // namespace

CameraParameters CameraAbilities::parameters() const {
    CameraParameters result;
    result.set(CameraParameters::KEY_SUPPORTED_PREVIEW_SIZES, listOf(previewSizes).c_str());
    result.setPreviewSize(previewSizes[0].width, previewSizes[0].height);
    result.set(CameraParameters::KEY_SUPPORTED_VIDEO_SIZES, listOf(videoSizes).c_str());
    result.setVideoSize(videoSizes[0].width, videoSizes[0].height);
    result.set(CameraParameters::KEY_SUPPORTED_PREVIEW_FRAME_RATES, listOf(frameRates).c_str());
    result.setPreviewFrameRate(frameRate);
    result.set(CameraParameters::KEY_PREVIEW_FORMAT, CameraParameters::PIXEL_FORMAT_YUV420P);
    result.set(CameraParameters::KEY_VIDEO_FRAME_FORMAT,
               CameraParameters::PIXEL_FORMAT_ANDROID_OPAQUE);
    return result;
}

bool CameraAbilities::hasPreviewSize(int width, int height) const {
    return has(previewSizes, width, height);
}

bool CameraAbilities::hasVideoSize(int width, int height) const {
    return has(videoSizes, width, height);
}

bool askCameraAbilities(const std::string& source, const sp<LiveControl>& control,
                        CameraAbilities* abilities, std::string* cause, int* error) {
    *abilities = CameraAbilities();
    *error = 0;
    LiveSource parsed;
    if (!parseLiveSource(source, &parsed, cause)) return false;
    if (control != nullptr && control->isLost()) {
        *error = ENODEV;
        *cause = "cannot open '" + source + "': the device is gone";
        return false;
    }
    const bool opened = parsed.scheme->tellsModes ? askDevice(parsed.name, abilities, cause, error)
                                                  : askReader(source, control, abilities, cause);
    std::vector<int>& rates = abilities->frameRates;
    std::sort(rates.begin(), rates.end());
    rates.erase(std::unique(rates.begin(), rates.end()), rates.end());
    return opened;
}

}  // namespace android
