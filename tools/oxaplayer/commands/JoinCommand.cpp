// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "commands/JoinCommand.h"

#include <CLI/CLI.hpp>

#include "arguments/Arguments.h"

namespace oxaplayer {

CLI::App* JoinCommand::define(CLI::App& app) {
    CLI::App* join = app.add_subcommand(
            "join", "Make one file of several with AVC and AAC of one kind, as they are");
    join->add_option("PART", mOptions.parts, "Media files, in their order")
            ->required()
            ->type_name("");
    join->add_option("--sound", mOptions.sound, "Take the sound from this file instead")
            ->type_name("FILE");
    addOutputOptions(*join, &mOptions);
    addIndexOption(*join, &mOptions);
    return join;
}

std::unique_ptr<Job> JoinCommand::makeJob() {
    mOptions.outputDescriptor = takeStandardOutput();
    return std::make_unique<Join>(mOptions, this);
}

}  // namespace oxaplayer
