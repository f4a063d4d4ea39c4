// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace oxaplayer {

// From now on memory or a thread that the system refuses, on whatever thread, ends the process with
// one line and ExitCode::kFailed, and without an unfinished output. A recording stays as far as it
// is on the disk.
void endWhenExhausted();

}  // namespace oxaplayer
