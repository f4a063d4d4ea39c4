// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "record/CameraTrial.h"

#include <OxaMediaCodecPlayer.h>
#include <camera/Camera.h>
#include <oxa/host/Display.h>
#include <oxa/host/HdmiSound.h>
#include <oxa/host/Microphones.h>
#include <unistd.h>

#include "run/EventQueue.h"
#include "tracks/MessageText.h"

namespace oxa::jobs {

using android::Camera;
using android::OK;
using android::sp;
using android::status_t;
using android::String16;

namespace {

constexpr char kClientName[] = "oxaplayer";
constexpr int kPicturePollUs = 10'000;

Failure cannotOpen(const CaptureSource& source, const std::string& cause) {
    return {FailureKind::kInput, "cannot open the camera '" + source.name() + "': " + cause};
}

status_t start(const sp<Camera>& camera, const CameraForm& form, const host::Display& display) {
    android::CameraParameters parameters;
    parameters.unflatten(camera->getParameters());
    parameters.setPreviewSize(form.size.width, form.size.height);
    parameters.setPreviewFrameRate(form.frameRate);
    status_t status = camera->setParameters(parameters.flatten());
    if (status == OK) status = camera->setPreviewTarget(display.producer());
    return status == OK ? camera->startPreview() : status;
}

// A preview on a null display, as long as `wait` runs; its status counts.
template <typename Wait>
std::optional<Failure> previewFor(const CaptureSource& source, const CameraForm& form, Wait wait) {
    const sp<Camera> camera = Camera::connect(source.place().camera(), String16(kClientName),
                                              Camera::USE_CALLING_UID, Camera::USE_CALLING_PID);
    if (camera == nullptr) return cannotOpen(source, "it is in use");
    const auto display = host::createNullDisplay();
    status_t status = start(camera, form, *display);
    if (status == OK) status = wait(*display);
    camera->stopPreview();
    camera->disconnect();
    if (status == OK) return std::nullopt;
    return cannotOpen(source, statusText(status));
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

std::optional<Failure> tryCamera(const CaptureSource& source, const CameraForm& form) {
    return previewFor(source, form, [](const host::Display& /*display*/) { return OK; });
}

std::optional<Failure> tryPicture(const CaptureSource& source, const CameraForm& form,
                                  const CancelFlag& cancelled) {
    return previewFor(source, form, [&](const host::Display& display) -> status_t {
        // No limit of our own: a computer that is busy would never get to its first picture.
        while (display.figures().shown == 0) {
            const bool hasEnded = host::cameraFigures(source.place().camera()).ended;
            if (cancelled || hasEnded) return android::TIMED_OUT;
            usleep(kPicturePollUs);
        }
        return OK;
    });
}

std::optional<Failure> holdCamera(const CaptureSource& source, const CameraForm& form,
                                  host::CameraHold* hold) {
    std::string cause;
    hold->reset();
    *hold = host::holdCamera(source.place().camera(), form.size.width, form.size.height,
                             form.frameRate, &cause);
    if (*hold != nullptr) return std::nullopt;
    return cannotOpen(source, cause);
}

std::optional<Failure> trySound(const CaptureSource& source) {
    std::string error;
    if (!source.isHdmi()) {
        error = host::microphoneSourceError(source.soundName());
    } else if (!host::isHdmiSoundServiceThere()) {
        error = "the sound service is not there";
    } else if (!source.receiver()->hasAudio()) {
        error = "the signal has no sound";
    }
    if (error.empty()) return std::nullopt;
    return Failure{FailureKind::kInput,
                   "cannot open the sound '" + source.soundName() + "': " + error};
}

}  // namespace oxa::jobs
