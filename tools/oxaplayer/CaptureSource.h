// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/HdmiReceiver.h>

#include <memory>
#include <optional>
#include <string>

#include "Arguments.h"
#include "ExitCode.h"
#include "TemporaryFolder.h"

namespace oxaplayer {

// Which camera is asked for, and where its sound comes from. A source is "v4l2:PATH",
// "alsa:DEVICE", "pulse:DEVICE", "lavfi:GRAPH" or a file.
struct CaptureChoice {
    std::optional<std::string> hdmi;
    std::optional<std::string> usb;
    std::optional<std::string> audio;  // "none": no sound; not given: the source's own

    const std::string& source() const { return hdmi ? *hdmi : *usb; }
};

// --hdmi and --usb.
void addSourceOptions(CLI::App& app, CaptureChoice* choice);

// Nothing when the choice makes sense; otherwise what is wrong with it (exit 2). Opens nothing.
std::optional<Failure> checkChoice(const CaptureChoice& choice, Only only);

// A graph with the pictures of a graph or a file, and silence beside them; nothing for a device.
std::optional<std::string> withSilence(const std::string& source);

// The camera that was chosen, as the platform's camera 0, and its sound as that of the audio
// service or the microphone. One in a process.
class CaptureSource {
  public:
    ~CaptureSource();

    // Sets up what `choice` asks for, which checkChoice() has found right, and tries to open it.
    // Nothing when it is there; otherwise why not (exit 3). A source with pictures only has no
    // sound; sound that was asked for is there.
    std::optional<Failure> open(const CaptureChoice& choice, Only only);

    bool isHdmi() const { return mChoice.hdmi.has_value(); }
    bool hasVideo() const { return mHasVideo; }
    bool hasAudio() const { return !mSound.empty(); }
    // Whether its pictures come from a device, which others may have.
    bool isDevice() const;
    const std::string& name() const { return mChoice.source(); }
    // Where the sound comes from; the same text as name() for the source's own.
    const std::string& soundName() const { return mSound; }
    // How long its picture is; nothing where it does not end or says so by itself.
    std::optional<int64_t> lengthUs() const { return mLengthUs; }
    // Whether `path` is a file that the source reads.
    bool isReadFrom(const std::string& path) const;

  private:
    std::optional<Failure> chooseSound(Only only);
    std::optional<Failure> openHdmi();
    void openUsb();

    CaptureChoice mChoice;
    bool mHasVideo = false;
    bool mOwnSound = false;  // the picture's source has sound
    std::string mSound;      // empty: none
    std::optional<int64_t> mLengthUs;
    TemporaryFolder mDeviceRoot;
    std::unique_ptr<oxa::host::SimulatedHdmiReceiver> mReceiver;
};

}  // namespace oxaplayer
