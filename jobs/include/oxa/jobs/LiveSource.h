// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "oxa/jobs/Result.h"

namespace oxa::jobs {

// A live source: "v4l2:PATH", "alsa:DEVICE", "pulse:DEVICE", "lavfi:GRAPH" (a filter graph with a
// picture, a sound or both) or a media file, played in real time.
struct LiveSource {
    enum class Kind {
        kCamera,  // a camera with a microphone
        kHdmi,    // what comes into an HDMI receiver, which is simulated; no device
    };
    Kind kind = Kind::kCamera;
    std::string name;
    // Sound from elsewhere; "none": no sound. Not given: the source's own, of "v4l2:" the system's
    // default microphone.
    std::optional<std::string> sound;
};

struct CameraDescription {
    Failure failure;  // kOptions, kInput, or none
    // As the library gets them: "preview-size", "640x360".
    std::vector<std::pair<std::string, std::string>> parameters;
};

// What the camera that a source makes can do. Opens it for a moment on the caller's thread; what it
// sets for the process is what Record sets. Any thread.
CameraDescription describeCamera(const LiveSource& source);

}  // namespace oxa::jobs
