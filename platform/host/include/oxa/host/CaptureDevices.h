// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

namespace oxa::host {

enum class CaptureKind {
    kCamera,
    kReceiver,  // of a video signal, such as a capture card with an HDMI input
    kSound,
};

// A device of this computer that captures.
struct CaptureDevice {
    CaptureKind kind = CaptureKind::kCamera;
    std::string source;  // for registerCamera() or registerMicrophone()
    std::string name;    // for people
    std::string node;    // of the kernel's; empty for a source of the sound server
};

// Those that are there at this moment: V4L2 nodes that capture pictures and may be opened, sound
// cards that capture (ALSA), the sources of the sound server (PulseAudio) where one runs. None is
// started. Asks the sound server, which takes a moment. Any thread.
//
// `root` stands in front of /dev and /proc.
std::vector<CaptureDevice> captureDevices(const std::string& root = {});

}  // namespace oxa::host
