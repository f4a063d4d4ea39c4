// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "InputFile.h"
#include "SourceTracks.h"

namespace oxaplayer {

// Whether at least one picture or one piece of sound of `track` comes out of its decoder; reads as
// far as needed for that. Blocks, at most 30 s and until a signal arrives. A player that was given
// a track which never decodes would wait for it in vain.
bool canDecode(const InputFile& input, const SourceTrack& track);

}  // namespace oxaplayer
