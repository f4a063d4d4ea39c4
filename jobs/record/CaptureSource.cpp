// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "record/CaptureSource.h"

#include <OxaMediaCodecPlayerCommon.h>
#include <oxa/host/Cameras.h>
#include <oxa/host/HdmiSound.h>
#include <oxa/host/Microphones.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "files/InputFile.h"
#include "tracks/SourceTracks.h"

namespace oxa::jobs {

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

Failure wrongUsage(const std::string& text, Hint hint = Hint::kNone) {
    return {FailureKind::kOptions, text, hint};
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
    return isFile(source) ? file.openPath(source) : std::nullopt;
}

std::optional<int64_t> pictureLengthUs(const std::string& path) {
    InputFile file;
    std::vector<Track> tracks;
    if (file.openPath(path) || readTracks(file, &tracks)) return std::nullopt;
    const auto picture = std::find_if(tracks.begin(), tracks.end(),
                                      [](const Track& track) { return track.isVideo; });
    return picture == tracks.end() ? std::nullopt : picture->durationUs;
}

}  // namespace

std::optional<Failure> checkSource(const LiveSource& source, Only only) {
    const std::string& name = source.name;
    if (auto failure = checkText(name)) return failure;
    if (source.kind == LiveSource::Kind::kHdmi && isCameraDevice(name)) {
        return wrongUsage(quoted(name) + " has no sound, which an HDMI signal has",
                          Hint::kAsCamera);
    }
    if (only != Only::kAudio && isSoundDevice(name)) {
        return wrongUsage(quoted(name) + " has no picture", Hint::kOnlySound);
    }
    if (only == Only::kAudio && !source.sound && isCameraDevice(name)) {
        return wrongUsage(quoted(name) + " has no sound", Hint::kNameSound);
    }
    if (!source.sound) return std::nullopt;
    if (auto failure = checkText(*source.sound)) return failure;
    if (isCameraDevice(*source.sound)) {
        return wrongUsage("audio " + quoted(*source.sound) + ": a camera has no sound",
                          Hint::kOtherValue);
    }
    if (only == Only::kAudio && *source.sound == kNoSound) {
        return wrongUsage("only sound and no sound leave nothing");
    }
    if (only == Only::kVideo && *source.sound != kNoSound) {
        return wrongUsage("only pictures leave out the sound that is asked for");
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
    host::useHdmiReceiverSound();
    android::setDeviceRoot("");
}

std::optional<Failure> CaptureSource::open(const LiveSource& source, Only only) {
    mSource = source;
    mHasVideo = only != Only::kAudio;
    if (auto failure = checkFile(name())) return failure;
    if (mHasVideo) {
        const std::string error = host::cameraSourceError(name());
        if (!error.empty()) return Failure{FailureKind::kInput, "no picture: " + error};
    }
    if (auto failure = chooseSound(only)) return failure;
    if (!mPlace.take()) return Failure{FailureKind::kFailed, "too many recordings at once"};
    if (isHdmi()) return openHdmi();
    openUsb();
    return std::nullopt;
}

std::optional<Failure> CaptureSource::chooseSound(Only only) {
    if (!isCameraDevice(name())) mOwnSound = host::microphoneSourceError(name()).empty();
    if (only == Only::kVideo || mSource.sound == kNoSound) return std::nullopt;
    if (mSource.sound) {
        mSound = *mSource.sound;
    } else if (mOwnSound || !mHasVideo) {
        mSound = name();
    } else if (isCameraDevice(name()) && !isHdmi()) {
        mSound = kDefaultMicrophone;
    }
    if (mSound.empty()) return std::nullopt;
    if (auto failure = checkFile(mSound)) return failure;
    const std::string error = host::microphoneSourceError(mSound);
    if (error.empty()) return std::nullopt;
    const bool wasAsked = mSource.sound || !mHasVideo;
    return Failure{FailureKind::kInput, "no sound: " + error,
                   wasAsked ? Hint::kNone : Hint::kNoSound};
}

std::optional<Failure> CaptureSource::openHdmi() {
    if (!mDeviceRoot.create()) {
        return Failure{FailureKind::kFailed,
                       std::string("cannot make a temporary folder: ") + strerror(errno)};
    }
    host::HdmiReceiverOptions options;
    options.deviceRoot = mDeviceRoot.path();
    // The receiver has both always. Nobody looks at its pictures when only sound is recorded, or
    // listens to the silence that stands in for missing sound.
    if (mHasVideo) {
        const auto source = mOwnSound ? name() : withSilence(name());
        if (!source) {
            return Failure{FailureKind::kInput, quoted(name()) + " has no sound of its own",
                           Hint::kAsCamera};
        }
        options.source = *source;
    }
    options.camera = mPlace.camera();
    std::string error;
    mReceiver = host::SimulatedHdmiReceiver::create(options, &error);
    if (mReceiver == nullptr) return Failure{FailureKind::kInput, error};
    const bool ownSound = mHasVideo && mSound == name();
    if (hasAudio() && !ownSound) {
        host::HdmiSoundOptions sound;
        sound.source = mSound;
        host::useHdmiSound(sound);
    }
    android::setDeviceRoot(mDeviceRoot.path().c_str());
    // It begins a file again at its end.
    if (mHasVideo && isFile(name())) mLengthUs = pictureLengthUs(name());
    return std::nullopt;
}

void CaptureSource::openUsb() {
    if (mHasVideo) mPlace.registerCamera(name());
    if (hasAudio()) mPlace.registerMicrophone(mSound);
}

bool CaptureSource::isDevice() const {
    return mHasVideo && isCameraDevice(name());
}

bool CaptureSource::isReadFrom(const std::string& path) const {
    for (const std::string& source : {name(), mSound}) {
        InputFile file;
        if (!source.empty() && isFile(source) && !file.openPath(source) &&
            file.isSameFileAs(path)) {
            return true;
        }
    }
    return false;
}

}  // namespace oxa::jobs
