// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <OxaMediaCodecPlayerCommon.h>
#include <camera/CameraParameters.h>

#include <optional>
#include <string>

#include "oxa/jobs/EncodeOptions.h"
#include "oxa/jobs/Result.h"

namespace oxa::jobs {

// The HDMI receiver's pictures come at this rate at most.
constexpr int32_t kHighestHdmiFrameRate = 30;

// What a camera is set to.
struct CameraForm {
    Size size;
    int32_t frameRate;
};

// Fills the picture's part of an encoder's target: what the options ask for, else what the camera
// prefers. `frameRate` becomes what is to be expected of it. Nothing when the camera can do it;
// otherwise what it lacks (kOptions).
std::optional<Failure> chooseVideoFormat(const EncodeOptions& options,
                                         const android::CameraParameters& camera, bool isHdmi,
                                         android::_AV_FORMAT_FORMAT* format, int32_t* frameRate);

// What the player will set that camera to for that target.
CameraForm cameraFormFor(const android::_AV_FORMAT_FORMAT& format,
                         const android::CameraParameters& camera, bool isHdmi);

// Whole seconds between key frames, at most `longest`, so that one comes each `splitUs`.
int32_t keyFrameIntervalFor(int64_t splitUs, int32_t longest);

// The sound's part.
void chooseAudioFormat(android::_AV_FORMAT_FORMAT* format);

}  // namespace oxa::jobs
