// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <string>

#include "report/ExitCode.h"

namespace oxaplayer {

// An output that is a folder ("films/") becomes a file there that has the input's name, with this
// extension. Nothing, or why there is no such name (kOptions).
std::optional<Failure> nameInFolder(const std::string& input, const std::string& extension,
                                    std::string* output);

}  // namespace oxaplayer
