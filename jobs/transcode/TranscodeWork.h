// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "oxa/jobs/Transcode.h"
#include "run/JobContext.h"

namespace oxa::jobs {

// The work of a Transcode, for jobs that are made of it; in the context's session.
Result transcode(const TranscodeOptions& options, JobContext& context);

}  // namespace oxa::jobs
