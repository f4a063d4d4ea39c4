// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/InputDescription.h>
#include <oxa/host/OutputTags.h>

#include "oxa/jobs/EncodeOptions.h"
#include "oxa/jobs/InputPart.h"
#include "oxa/jobs/LeftBehind.h"
#include "tracks/TrackChoice.h"

namespace oxa::jobs {

// What the output says of itself: of the input's words those that are kept, and its chapters on the
// clock of the part.
host::OutputTags keptTags(const host::InputDescription& input, const TrackChoice& tracks,
                          const InputPart& part, Container container);

// What is in the input and not in the output, of the kinds that were asked for; `tags` is what the
// output says, null for one that is to say nothing.
LeftBehind leftBehind(const host::InputDescription& input, const TrackChoice& tracks, Only only,
                      const host::OutputTags* tags);

}  // namespace oxa::jobs
