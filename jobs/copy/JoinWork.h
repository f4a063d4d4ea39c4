// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/OutputTags.h>

#include "oxa/jobs/Join.h"
#include "run/JobContext.h"

namespace oxa::jobs {

// The work of a Join, for jobs that are made of it; in the context's session. `tags` is what the
// output says of itself; null: what the files say.
Result joinFiles(const JoinOptions& options, const host::OutputTags* tags, JobContext& context);

}  // namespace oxa::jobs
