// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <vector>

#include "files/InputFile.h"
#include "oxa/jobs/InputPart.h"
#include "oxa/jobs/Track.h"
#include "run/JobContext.h"

namespace oxa::jobs {

// What a job works on.
struct TrackChoice {
    std::optional<Track> video;
    std::optional<Track> audio;
};

// Chooses the first picture and the first sound of `part`, as far as `only` asks for them, and
// leaves out with a warning what cannot be decoded. From then on the session sees that part alone.
// Nothing when something is left; otherwise why there is nothing to do (kInput, kCancelled). Blocks
// while it tries the decoders.
std::optional<Failure> chooseTracks(const InputFile& input, Only only, const InputPart& part,
                                    JobContext& context, TrackChoice* choice);

// Those that were chosen, the picture first.
std::vector<Track> tracksOf(const TrackChoice& choice);

}  // namespace oxa::jobs
