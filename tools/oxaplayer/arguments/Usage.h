// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

#include "frame/Command.h"

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace oxaplayer {

// One line, with its end, about a command line that `app` could not read: what is wrong with it,
// and what was probably meant.
std::string usageError(const CLI::App& app, const CLI::ParseError& error);

// The text of `oxaplayer help COMMAND`, of `oxaplayer help` for an empty name; empty when there is
// no such command.
std::string helpText(const CLI::App& app, const std::string& command);

// "there is no command 'plai', did you mean 'play'?"
std::string unknownCommand(const CLI::App& app, const std::string& name);

}  // namespace oxaplayer
