// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>

namespace oxa::host {

// What of a media file is read. Whoever reads it sees just this: tracks that were not chosen are
// not there, and times count from `startUs`.
struct InputChoice {
    // The track's number among all that the extractor lists; not given: all of that kind.
    std::optional<int> videoTrack;
    std::optional<int> audioTrack;
    // Microseconds from the beginning of the file. The first picture is the first one at
    // `startUs` or later, the last one the last before `endUs`; sound is cut to the sample.
    int64_t startUs = 0;
    std::optional<int64_t> endUs;
};

// For files that are opened from now on in the caller's session (oxa/host/Session.h); all of each
// until set. Thread-safe. A file that cannot be sought, or whose times an index does not tell, is
// decoded from its beginning. In a file whose clock jumps, times are those behind the last jump
// before the start.
void setInputChoice(const InputChoice& choice);
InputChoice inputChoice();

}  // namespace oxa::host
