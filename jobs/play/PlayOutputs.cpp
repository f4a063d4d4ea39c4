// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "play/PlayOutputs.h"

#include <oxa/host/SoundOutput.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace oxa::jobs {

namespace fs = std::filesystem;

namespace {

Failure cannotWrite(const std::string& path, const std::string& cause) {
    return {FailureKind::kOutput, "cannot write '" + path + "': " + cause};
}

// A directory for pictures: made where it is missing, and nothing in it is overwritten.
std::optional<Failure> preparePictureDirectory(const std::string& directory) {
    std::error_code error;
    fs::create_directory(directory, error);
    if (error) return cannotWrite(directory, error.message());
    if (access(directory.c_str(), W_OK | X_OK) != 0) return cannotWrite(directory, strerror(errno));
    for (const auto& entry : fs::directory_iterator(directory, error)) {
        if (entry.path().filename().string().rfind("picture-", 0) == 0) {
            return cannotWrite(directory, "it holds pictures of another run");
        }
    }
    return std::nullopt;
}

// Nothing for what is not about playing.
std::optional<PlayKey> keyOf(host::DisplayEvent event) {
    switch (event) {
        case host::DisplayEvent::kPauseKey:
            return PlayKey::kPause;
        case host::DisplayEvent::kBackKey:
            return PlayKey::kBack;
        case host::DisplayEvent::kForwardKey:
            return PlayKey::kForward;
        case host::DisplayEvent::kLouderKey:
            return PlayKey::kLouder;
        case host::DisplayEvent::kQuieterKey:
            return PlayKey::kQuieter;
        case host::DisplayEvent::kMuteKey:
            return PlayKey::kMute;
        case host::DisplayEvent::kNextPictureKey:
            return PlayKey::kNextPicture;
        case host::DisplayEvent::kRecordKey:
        case host::DisplayEvent::kClosed:
        case host::DisplayEvent::kQuitKey:
            break;
    }
    return std::nullopt;
}

JobEvent jobEventOf(host::DisplayEvent event) {
    if (const auto key = keyOf(event)) return Pressed{*key};
    if (event == host::DisplayEvent::kRecordKey) return Switched{};
    return Closed{};
}

}  // namespace

PlayOutputs::PlayOutputs() : mDisplay(host::createNullDisplay()) {}

std::optional<Failure> PlayOutputs::openDisplay(const DisplayChoice& choice,
                                                const std::string& title, JobContext& context) {
    if (choice.kind == DisplayChoice::Kind::kPng) {
        if (auto failure = preparePictureDirectory(choice.directory)) return failure;
        mDisplay = host::createPngDisplay(choice.directory);
    } else if (choice.kind == DisplayChoice::Kind::kWindow) {
        host::WindowOptions options;
        options.title = fs::path(title).filename().string();
        options.onEvent = [queue = context.queue()](host::DisplayEvent event) {
            queue->push(jobEventOf(event));
        };
        std::string error;
        auto window = host::createWindowDisplay(options, &error);
        if (window != nullptr) {
            mDisplay = std::move(window);
        } else {
            context.listener().onWarning("no window can be opened, pictures are not shown: " +
                                         error);
        }
    }
    return std::nullopt;
}

std::optional<Failure> PlayOutputs::openSound(const SoundChoice& choice, JobContext& context) {
    if (choice.kind == SoundChoice::Kind::kWav) {
        if (fs::exists(choice.file)) return cannotWrite(choice.file, "it exists already");
        const std::string error = host::useWavSound(choice.file);
        if (!error.empty()) return cannotWrite(choice.file, error);
        return std::nullopt;
    }
    const std::string error =
            choice.kind == SoundChoice::Kind::kDevice ? host::soundDeviceError() : "";
    if (!error.empty()) {
        context.listener().onWarning("no sound device can be opened, sound is not heard: " + error);
    }
    if (choice.kind == SoundChoice::Kind::kDevice && error.empty()) {
        host::useSoundDevice();
    } else {
        host::useNullSound();
    }
    return std::nullopt;
}

}  // namespace oxa::jobs
