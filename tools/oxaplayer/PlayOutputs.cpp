// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "PlayOutputs.h"

#include <oxa/host/SoundOutput.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace oxaplayer {

namespace fs = std::filesystem;

namespace {

// The rest of `text` behind `prefix`; nothing without it, or when nothing follows.
std::optional<std::string> behind(const std::string& text, const std::string& prefix) {
    if (text.size() <= prefix.size() || text.compare(0, prefix.size(), prefix) != 0) {
        return std::nullopt;
    }
    return text.substr(prefix.size());
}

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

}  // namespace

std::optional<DisplayChoice> parseDisplayChoice(const std::string& text) {
    using Kind = DisplayChoice::Kind;
    if (text == "window") return DisplayChoice{Kind::kWindow, {}};
    if (text == "null") return DisplayChoice{Kind::kNull, {}};
    if (const auto directory = behind(text, "png:")) return DisplayChoice{Kind::kPng, *directory};
    return std::nullopt;
}

std::optional<SoundChoice> parseSoundChoice(const std::string& text) {
    using Kind = SoundChoice::Kind;
    if (text == "default") return SoundChoice{Kind::kDevice, {}};
    if (text == "null") return SoundChoice{Kind::kNull, {}};
    if (const auto file = behind(text, "wav:")) return SoundChoice{Kind::kWav, *file};
    return std::nullopt;
}

PlayOutputs::PlayOutputs() : mDisplay(oxa::host::createNullDisplay()) {}

std::optional<Failure> PlayOutputs::openDisplay(const DisplayChoice& choice,
                                                const std::string& title,
                                                const std::shared_ptr<EventQueue>& queue,
                                                Report* report) {
    if (choice.kind == DisplayChoice::Kind::kPng) {
        if (auto failure = preparePictureDirectory(choice.directory)) return failure;
        mDisplay = oxa::host::createPngDisplay(choice.directory);
    } else if (choice.kind == DisplayChoice::Kind::kWindow) {
        oxa::host::WindowOptions options;
        options.title = fs::path(title).filename().string();
        options.onEvent = [queue](oxa::host::DisplayEvent) { queue->push(Closed{}); };
        std::string error;
        auto window = oxa::host::createWindowDisplay(options, &error);
        if (window != nullptr) {
            mDisplay = std::move(window);
        } else {
            report->warning("no window can be opened, pictures are not shown: " + error);
        }
    }
    return std::nullopt;
}

std::optional<Failure> PlayOutputs::openSound(const SoundChoice& choice, Report* report) {
    if (choice.kind == SoundChoice::Kind::kWav) {
        if (fs::exists(choice.file)) return cannotWrite(choice.file, "it exists already");
        const std::string error = oxa::host::useWavSound(choice.file);
        if (!error.empty()) return cannotWrite(choice.file, error);
        return std::nullopt;
    }
    const std::string error =
            choice.kind == SoundChoice::Kind::kDevice ? oxa::host::soundDeviceError() : "";
    if (!error.empty()) {
        report->warning("no sound device can be opened, sound is not heard: " + error);
    }
    if (choice.kind == SoundChoice::Kind::kDevice && error.empty()) {
        oxa::host::useSoundDevice();
    } else {
        oxa::host::useNullSound();
    }
    return std::nullopt;
}

}  // namespace oxaplayer
