// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>

#include "Arguments.h"
#include "ExitCode.h"
#include "Report.h"
#include "files/InputFile.h"
#include "tracks/SourceTracks.h"

namespace oxaplayer {

// What a job works on.
struct TrackChoice {
    std::optional<Track> video;
    std::optional<Track> audio;
};

// Chooses the first picture and the first sound of `input`, as far as `only` asks for them, and
// leaves out with a warning what cannot be decoded. Nothing when something is left; otherwise why
// there is nothing to do (exit 3). Blocks while it tries the decoders.
std::optional<Failure> chooseTracks(const InputFile& input, Only only, Report* report,
                                    TrackChoice* choice);

// Tells which tracks were chosen.
void announceTracks(const InputFile& input, const TrackChoice& choice, Report* report);

}  // namespace oxaplayer
