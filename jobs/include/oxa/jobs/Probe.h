// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

#include "oxa/jobs/Result.h"
#include "oxa/jobs/Track.h"

namespace oxa::jobs {

struct ProbeResult {
    Failure failure;            // kInput, or none
    std::vector<Track> tracks;  // in the file's order; at least one without a failure

    bool ok() const { return failure.kind == FailureKind::kNone; }
};

// The tracks of a media file (oxa/jobs/Input.h) that have a decoder: sound and pictures, without
// cover art. Reads the beginning of the file on the caller's thread, decodes nothing and waits for
// no other program (a named pipe is refused) but that which fills standard input. Any thread, any
// number at once.
ProbeResult probe(const std::string& name);

}  // namespace oxa::jobs
