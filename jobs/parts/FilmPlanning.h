// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "oxa/jobs/Plan.h"
#include "run/JobContext.h"
#include "transcode/TranscodeSource.h"

namespace oxa::jobs {

// How long the parts of a film are to be, of such a length in microseconds.
using PartLength = std::function<int64_t(int64_t filmUs)>;

// Plans the film of an open source. Nothing when there is a plan; otherwise why not (kCancelled).
std::optional<Failure> planFilm(const TranscodeOptions& options, const TranscodeSource& source,
                                const PartLength& partLength, JobContext& context, FilmPlan* plan);

// Nothing, or what is wrong with an output that cannot be made of parts (kOptions).
std::optional<Failure> refuseNoFiles(const TranscodeOptions& options);

// The options of one part's transcoding, which writes this file.
TranscodeOptions optionsOfPart(const TranscodeOptions& film, const InputPart& part, Only only,
                               const std::string& path);

}  // namespace oxa::jobs
