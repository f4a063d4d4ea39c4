// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace oxa::jobs {

// Which part of a media file a job works on; by default all of its first picture and its first
// sound.
struct InputPart {
    // From the file's beginning, in microseconds. The first picture is the first one at this time
    // or later, the last one the last before the end; sound is cut to the sample.
    int64_t startUs = 0;
    std::optional<int64_t> endUs;

    std::optional<int> videoTrack;             // Track::index
    std::optional<int> audioTrack;             // the same
    std::optional<std::string> audioLanguage;  // as the file names it: "deu"; if no number is given
};

}  // namespace oxa::jobs
