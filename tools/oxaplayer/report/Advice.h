// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "report/ExitCode.h"

namespace oxaplayer {

// A failure's text in the words of the command line: with the option that would help.
std::string adviceFor(const Failure& failure);

}  // namespace oxaplayer
