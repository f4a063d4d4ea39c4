// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "report/ExitCode.h"

namespace CLI {
class App;
}

namespace oxaplayer {

// The options that every command takes.
struct CommonOptions {
    bool json = false;
    bool quiet = false;
    bool verbose = false;
    std::optional<std::string> log;  // a file
};

// One word of the command line, such as `transcode`.
class Command {
  public:
    virtual ~Command() = default;

    // Adds the command with its options to `app` and returns it.
    virtual CLI::App* define(CLI::App& app) = 0;

    // Does the work with the options that were read; blocks until it is done.
    virtual ExitCode run(const CommonOptions& common) = 0;
};

// All commands, in the order of the help text.
std::vector<std::unique_ptr<Command>> makeCommands();

}  // namespace oxaplayer
