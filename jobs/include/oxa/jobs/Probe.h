// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "oxa/jobs/Result.h"
#include "oxa/jobs/Track.h"

namespace oxa::jobs {

// A stream of a file that is no track.
struct LeftOut {
    enum class Kind { kPicture, kSound, kSubtitle, kData };
    Kind kind = Kind::kData;
    std::string codec;  // empty: not known
    std::string language;
    std::string why;  // in a few words
};

struct Chapter {
    int64_t startUs = 0;
    int64_t endUs = 0;
    std::string title;
};

struct ProbeResult {
    Failure failure;            // kInput, or none
    std::vector<Track> tracks;  // in the file's order; at least one without a failure
    std::vector<std::pair<std::string, std::string>> metadata;  // "title", as the file names it
    std::vector<Chapter> chapters;
    std::vector<LeftOut> leftOut;

    bool ok() const { return failure.kind == FailureKind::kNone; }
};

// The tracks of a media file (oxa/jobs/Input.h) that have a decoder: sound and pictures, without
// cover art. Reads the beginning of the file on the caller's thread, decodes nothing and waits for
// no other program (a named pipe is refused) but that which fills standard input. Any thread, any
// number at once.
ProbeResult probe(const std::string& name);

}  // namespace oxa::jobs
