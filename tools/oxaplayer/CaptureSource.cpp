// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "CaptureSource.h"

#include <OxaMediaCodecPlayerCommon.h>
#include <oxa/host/Cameras.h>
#include <oxa/host/HdmiSound.h>
#include <oxa/host/Microphones.h>
#include <system/audio.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "files/InputFile.h"
#include "tracks/SourceTracks.h"

namespace oxaplayer {

namespace {

constexpr char kNoSound[] = "none";
constexpr char kDefaultMicrophone[] = "alsa:default";
constexpr char kGraph[] = "lavfi:";
constexpr char kSilence[] = ";anullsrc=sample_rate=48000:channel_layout=stereo";

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool isCameraDevice(const std::string& source) {
    return startsWith(source, "v4l2:");
}

bool isSoundDevice(const std::string& source) {
    return startsWith(source, "alsa:") || startsWith(source, "pulse:");
}

bool isFile(const std::string& source) {
    return !isCameraDevice(source) && !isSoundDevice(source) && !startsWith(source, kGraph);
}

std::string quoted(const std::string& text) {
    return "'" + text + "'";
}

Failure wrongUsage(const std::string& text) {
    return {FailureKind::kOptions, text};
}

std::optional<Failure> checkText(const std::string& source) {
    const bool isEmpty = source.empty() || (source.back() == ':' && !isFile(source) &&
                                            source.find(':') == source.size() - 1);
    if (!isEmpty) return std::nullopt;
    return wrongUsage(source.empty() ? "the source has no name"
                                     : "nothing is named after " + quoted(source));
}

// With a backslash before each of `special`.
std::string escaped(const std::string& text, const std::string& special) {
    std::string result;
    for (const char letter : text) {
        if (special.find(letter) != std::string::npos) result += '\\';
        result += letter;
    }
    return result;
}

// A named pipe would hold whoever opens it.
std::optional<Failure> checkFile(const std::string& source) {
    InputFile file;
    return isFile(source) ? file.open(source) : std::nullopt;
}

std::optional<int64_t> pictureLengthUs(const std::string& path) {
    InputFile file;
    std::vector<Track> tracks;
    if (file.open(path) || readTracks(file, &tracks)) return std::nullopt;
    const auto picture = std::find_if(tracks.begin(), tracks.end(),
                                      [](const Track& track) { return track.isVideo; });
    return picture == tracks.end() ? std::nullopt : picture->durationUs;
}

}  // namespace

void addSourceOptions(CLI::App& app, CaptureChoice* choice) {
    const char* kinds = "v4l2:PATH, lavfi:GRAPH or a file, played in real time";
    app.add_option("--hdmi", choice->hdmi, std::string("What the HDMI receiver gets: ") + kinds)
            ->type_name("SOURCE");
    app.add_option("--usb", choice->usb, std::string("A camera: ") + kinds)->type_name("SOURCE");
}

std::optional<Failure> checkChoice(const CaptureChoice& choice, Only only) {
    if (choice.hdmi.has_value() == choice.usb.has_value()) {
        return wrongUsage("expected either --hdmi SOURCE or --usb SOURCE");
    }
    const std::string& source = choice.source();
    if (auto failure = checkText(source)) return failure;
    if (only != Only::kAudio && isSoundDevice(source)) {
        return wrongUsage(quoted(source) + " has no picture: use --only audio");
    }
    if (only == Only::kAudio && !choice.audio && isCameraDevice(source)) {
        return wrongUsage(quoted(source) + " has no sound: use --audio SOURCE");
    }
    if (!choice.audio) return std::nullopt;
    if (auto failure = checkText(*choice.audio)) return failure;
    if (isCameraDevice(*choice.audio)) {
        return wrongUsage("--audio " + quoted(*choice.audio) + ": a camera has no sound");
    }
    if (only == Only::kAudio && *choice.audio == kNoSound) {
        return wrongUsage("--only audio and --audio none leave nothing");
    }
    if (only == Only::kVideo && *choice.audio != kNoSound) {
        return wrongUsage("--only video leaves out what --audio asks for");
    }
    return std::nullopt;
}

std::optional<std::string> withSilence(const std::string& source) {
    if (startsWith(source, kGraph)) return source + kSilence;
    if (!isFile(source)) return std::nullopt;
    // Read twice: as the graph's text, and as an option's value in it.
    const std::string name = escaped(escaped(source, "\\':"), "\\'[],;");
    return std::string(kGraph) + "movie=filename=" + name + kSilence;
}

CaptureSource::~CaptureSource() {
    if (mReceiver == nullptr) return;
    mReceiver.reset();
    android::setDeviceRoot("");
}

std::optional<Failure> CaptureSource::open(const CaptureChoice& choice, Only only) {
    mChoice = choice;
    mHasVideo = only != Only::kAudio;
    if (auto failure = checkFile(name())) return failure;
    if (mHasVideo) {
        const std::string error = oxa::host::cameraSourceError(name());
        if (!error.empty()) return Failure{FailureKind::kInput, "no picture: " + error};
    }
    if (auto failure = chooseSound(only)) return failure;
    if (isHdmi()) return openHdmi();
    openUsb();
    return std::nullopt;
}

std::optional<Failure> CaptureSource::chooseSound(Only only) {
    if (!isCameraDevice(name())) mOwnSound = oxa::host::microphoneSourceError(name()).empty();
    if (only == Only::kVideo || mChoice.audio == kNoSound) return std::nullopt;
    if (mChoice.audio) {
        mSound = *mChoice.audio;
    } else if (mOwnSound || !mHasVideo) {
        mSound = name();
    } else if (isCameraDevice(name()) && !isHdmi()) {
        mSound = kDefaultMicrophone;
    }
    if (mSound.empty()) return std::nullopt;
    if (auto failure = checkFile(mSound)) return failure;
    const std::string error = oxa::host::microphoneSourceError(mSound);
    if (error.empty()) return std::nullopt;
    const bool wasAsked = mChoice.audio || !mHasVideo;
    return Failure{
            FailureKind::kInput,
            "no sound: " + error + (wasAsked ? "" : " (--audio none records without sound)")};
}

std::optional<Failure> CaptureSource::openHdmi() {
    if (!mDeviceRoot.create()) {
        return Failure{FailureKind::kFailed,
                       std::string("cannot make a temporary folder: ") + strerror(errno)};
    }
    oxa::host::HdmiReceiverOptions options;
    options.deviceRoot = mDeviceRoot.path();
    // The receiver has both always. Nobody looks at its pictures when only sound is recorded, or
    // listens to the silence that stands in for missing sound.
    if (mHasVideo) {
        const auto source = mOwnSound ? name() : withSilence(name());
        if (!source) {
            return Failure{FailureKind::kInput,
                           quoted(name()) + " has no sound of its own: use it with --usb"};
        }
        options.source = *source;
    }
    const bool ownSound = mHasVideo && mSound == name();
    if (hasAudio() && !ownSound) {
        oxa::host::HdmiSoundOptions sound;
        sound.source = mSound;
        oxa::host::useHdmiSound(sound);
    }
    std::string error;
    mReceiver = oxa::host::SimulatedHdmiReceiver::create(options, &error);
    if (mReceiver == nullptr) return Failure{FailureKind::kInput, error};
    android::setDeviceRoot(mDeviceRoot.path().c_str());
    // It begins a file again at its end.
    if (mHasVideo && isFile(name())) mLengthUs = pictureLengthUs(name());
    return std::nullopt;
}

void CaptureSource::openUsb() {
    if (mHasVideo) oxa::host::registerCamera(0, name());
    if (hasAudio()) oxa::host::registerMicrophone(AUDIO_SOURCE_DEFAULT, mSound);
}

bool CaptureSource::isDevice() const {
    return mHasVideo && isCameraDevice(name());
}

bool CaptureSource::isReadFrom(const std::string& path) const {
    for (const std::string& source : {name(), mSound}) {
        InputFile file;
        if (!source.empty() && isFile(source) && !file.open(source) && file.isSameFileAs(path)) {
            return true;
        }
    }
    return false;
}

}  // namespace oxaplayer
