// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "record/CameraTrial.h"

#include <OxaMediaCodecPlayer.h>
#include <camera/Camera.h>
#include <oxa/host/Display.h>
#include <oxa/host/HdmiSound.h>
#include <oxa/host/Microphones.h>

#include "tracks/StatusText.h"

namespace oxa::jobs {

using android::Camera;
using android::OK;
using android::sp;
using android::status_t;
using android::String16;

namespace {

constexpr char kClientName[] = "oxaplayer";

Failure cannotOpen(const CaptureSource& source, const std::string& cause) {
    return {FailureKind::kInput, "cannot open the camera '" + source.name() + "': " + cause};
}

status_t start(const sp<Camera>& camera, Size size, int32_t frameRate,
               const host::Display& display) {
    android::CameraParameters parameters;
    parameters.unflatten(camera->getParameters());
    parameters.setPreviewSize(size.width, size.height);
    parameters.setPreviewFrameRate(frameRate);
    status_t status = camera->setParameters(parameters.flatten());
    if (status == OK) status = camera->setPreviewTarget(display.producer());
    return status == OK ? camera->startPreview() : status;
}

}  // namespace

std::optional<Failure> readCameraParameters(const CaptureSource& source,
                                            android::CameraParameters* parameters) {
    const sp<android::OxaMediaCodecPlayer> player =
            new android::OxaMediaCodecPlayer(true, android::CODEC_VIDEO_ONLY);
    player->initiate(source.isHdmi() ? android::SourceTypeHdmiRx : android::SourceTypeUsbCamera,
                     true, false);
    player->setCameraSource(source.place().camera(), String16(kClientName));
    const android::String8 text = player->getCameraParameters();
    player->cleanup();
    if (text.length() == 0) return cannotOpen(source, "it has no parameters");
    parameters->unflatten(text);
    return std::nullopt;
}

std::optional<Failure> tryCamera(const CaptureSource& source, Size size, int32_t frameRate) {
    const sp<Camera> camera = Camera::connect(source.place().camera(), String16(kClientName),
                                              Camera::USE_CALLING_UID, Camera::USE_CALLING_PID);
    if (camera == nullptr) return cannotOpen(source, "it is in use");
    const auto display = host::createNullDisplay();
    const status_t status = start(camera, size, frameRate, *display);
    camera->stopPreview();
    camera->disconnect();
    if (status == OK) return std::nullopt;
    return cannotOpen(source, statusText(status));
}

std::optional<Failure> trySound(const CaptureSource& source) {
    std::string error;
    if (!source.isHdmi()) {
        error = host::microphoneSourceError(source.soundName());
    } else if (!host::isHdmiSoundServiceThere()) {
        error = "the sound service is not there";
    }
    if (error.empty()) return std::nullopt;
    return Failure{FailureKind::kInput,
                   "cannot open the sound '" + source.soundName() + "': " + error};
}

}  // namespace oxa::jobs
