// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace oxaplayer {

// What the process answers; scripts rely on these values.
enum class ExitCode {
    kDone = 0,
    kFailed = 1,  // failed while running
    kUsage = 2,   // wrong usage
    kInput = 3,   // the input cannot be read or has nothing to decode
    kOutput = 4,  // the output cannot be written, also when the disk fills up
    kInterrupted = 130,
};

// Why something did not work: the process's answer, and one line for people.
struct Failure {
    ExitCode code;
    std::string text;
};

}  // namespace oxaplayer
