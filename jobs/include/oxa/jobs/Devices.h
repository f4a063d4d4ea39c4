// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

namespace oxa::jobs {

// Something of this computer that captures pictures or sound.
struct Device {
    enum class Kind {
        kCamera,
        kReceiver,  // of a video signal, such as a capture card with an HDMI input
        kSound,
    };
    Kind kind = Kind::kCamera;
    std::string source;  // for LiveSource::name or LiveSource::sound
    std::string name;    // for people
    std::string node;    // of the kernel's; empty for a source of the sound server
};

// What is there at this moment and may be used: cameras and receivers (V4L2), microphones and
// other inputs of sound cards (ALSA), sources of the sound server (PulseAudio) where one runs.
// Starts none of them. Blocks for a moment; any thread.
std::vector<Device> listDevices();

}  // namespace oxa::jobs
