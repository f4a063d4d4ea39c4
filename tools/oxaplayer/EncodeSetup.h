// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <string>

#include "Arguments.h"
#include "ExitCode.h"
#include "OutputFile.h"

namespace oxaplayer {

// Chooses the container and the encoder's preset. Nothing when the options make sense; otherwise
// what is wrong (exit 2). Opens nothing.
std::optional<Failure> setUpEncoding(const EncodeOptions& options, Container* container);

enum class WriteWay { kWhenComplete, kInPlace };

// Nothing, or what is wrong when media for `output` would go to a terminal (exit 2).
std::optional<Failure> refuseTerminal(const std::string& output);

// Opens `output`. From then on everything that is printed to a standard output
// that receives media goes to standard error. Nothing when it is open; otherwise why not (exit 4).
std::optional<Failure> openOutput(const std::string& output, bool force, WriteWay way,
                                  OutputFile* file);
// The same, for that container.
std::optional<Failure> openOutput(const EncodeOptions& options, Container container, WriteWay way,
                                  OutputFile* output);

}  // namespace oxaplayer
