// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace oxa::host {

// Whether encoders that are started from now on, in this process, give their codec-specific data
// also as a first output, with BUFFER_FLAG_CODECCONFIG and the time 0, as televisions do. Until set
// it is in their format alone, and every output is a sample. Thread-safe.
void setCodecConfigOutput(bool wanted);
bool codecConfigOutput();

}  // namespace oxa::host
