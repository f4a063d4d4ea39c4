// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "DeviceOptions"

#include "live/DeviceOptions.h"

#include "live/V4l2Modes.h"

extern "C" {
#include <libavutil/error.h>
}

namespace android {

namespace {

// Farther off the present, a stamp is on another clock.
constexpr int64_t kPresentUs = 10000000;

bool isPresent(int64_t timeUs, int64_t nowUs) {
    return timeUs > nowUs - kPresentUs && timeUs < nowUs + kPresentUs;
}

}  // namespace

int v4l2Options(const std::string& name, const LiveOptions& options, DeviceOptions* result) {
    if (options.kind != LiveKind::kPicture) return AVERROR_STREAM_NOT_FOUND;
    int error = 0;
    const std::vector<V4l2Mode> modes = v4l2Modes(name, &error);
    if (error != 0) return AVERROR(error);
    const V4l2Mode* mode = chooseV4l2Mode(modes, options.width, options.height, options.frameRate);
    // Another size is made of the largest.
    if (mode == nullptr) mode = chooseV4l2Mode(modes, 0, 0, options.frameRate);
    result->settings["video_size"] =
            std::to_string(mode->width) + "x" + std::to_string(mode->height);
    result->settings["input_format"] = v4l2FormatName(mode->format);
    if (options.frameRate > 0) result->settings["framerate"] = std::to_string(options.frameRate);
    return 0;
}

int soundDeviceOptions(const std::string& /*name*/, const LiveOptions& options,
                       DeviceOptions* result) {
    if (options.kind == LiveKind::kPicture) return AVERROR_STREAM_NOT_FOUND;
    if (options.sampleRate > 0) {
        result->settings["sample_rate"] = std::to_string(options.sampleRate);
    }
    if (options.channels > 0) result->settings["channels"] = std::to_string(options.channels);
    return 0;
}

int64_t monotonicTimeOf(int64_t stampUs, int64_t nowUs, int64_t wallClockUs) {
    if (isPresent(stampUs, nowUs)) return stampUs;
    // Compared without a sum that could overflow.
    if (isPresent(stampUs, nowUs + wallClockUs)) return stampUs - wallClockUs;
    return nowUs;
}

}  // namespace android
