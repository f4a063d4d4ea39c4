// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/jobs/Result.h>

namespace oxaplayer {

// The client is written in the words of the jobs that it runs.
using namespace oxa::jobs;

// What the process answers; scripts rely on these values.
enum class ExitCode {
    kDone = 0,
    kFailed = 1,  // failed while running
    kUsage = 2,   // wrong usage
    kInput = 3,   // the input cannot be read or has nothing to decode
    kOutput = 4,  // the output cannot be written, also when the disk fills up
    kInterrupted = 130,
};

ExitCode exitCodeOf(FailureKind kind);

}  // namespace oxaplayer
