// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "oxa/jobs/Probe.h"

#include <oxa/host/Session.h>

#include "tracks/SourceTracks.h"

namespace oxa::jobs {

ProbeResult probe(const std::string& name) {
    const host::Session session;
    const host::SessionScope scope(session);
    ProbeResult result;
    InputFile input;
    auto failure = input.open(name);
    if (!failure) failure = readTracks(input, &result.tracks);
    if (failure) result.failure = *failure;
    return result;
}

}  // namespace oxa::jobs
