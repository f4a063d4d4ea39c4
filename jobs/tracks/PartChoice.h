// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <vector>

#include "files/InputFile.h"
#include "oxa/jobs/InputPart.h"
#include "oxa/jobs/Result.h"
#include "oxa/jobs/Track.h"

namespace oxa::jobs {

// Whether all of a file is asked for.
bool isWhole(const InputPart& part);

// Has the file's readers of this session see the part alone, and leaves in `tracks` (all of the
// file) those that they see, in their order. Nothing when there is such a part; otherwise why not
// (kOptions, kInput).
std::optional<Failure> choosePart(const InputFile& input, const InputPart& part,
                                  std::vector<Track>* tracks);

// From now on this session's files are read whole.
void forgetPart();

}  // namespace oxa::jobs
