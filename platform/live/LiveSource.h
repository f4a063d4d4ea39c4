// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace android {

// Where live pictures and sound come from.
enum class LiveScheme {
    kV4l2,   // a camera or capture card of the kernel's, by the path of its device
    kAlsa,   // a sound card, by its name
    kPulse,  // a source of the sound server
    kLavfi,  // a filter graph that makes pictures, sound, or both
    kFile,   // a media file, played in real time
};

struct LiveSource {
    LiveScheme scheme = LiveScheme::kFile;
    std::string name;  // what follows the scheme

    // Whether it keeps the time by itself. Others are paced by their times.
    bool isDevice() const { return scheme != LiveScheme::kLavfi && scheme != LiveScheme::kFile; }
};

// Takes "v4l2:PATH", "alsa:DEVICE", "pulse:DEVICE", "lavfi:GRAPH", and anything else as a file.
// False, with the reason, when nothing is named.
bool parseLiveSource(const std::string& text, LiveSource* source, std::string* error);

}  // namespace android
