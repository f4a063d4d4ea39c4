// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <string>

#include "run/JobContext.h"
#include "transcode/TranscodeSource.h"

namespace oxa::jobs {

// Compares a transcoding's output with its source, of which the session's files show the part that
// was transcoded; from then on they are read whole. Nothing when all is as it should be; otherwise
// what is not (kFailed, kCancelled). Blocks while both are decoded.
std::optional<Failure> verifyOutput(const TranscodeSource& source, const std::string& output,
                                    const CancelFlag& cancelled);

}  // namespace oxa::jobs
