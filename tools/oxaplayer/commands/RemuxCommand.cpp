// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "commands/RemuxCommand.h"

#include <CLI/CLI.hpp>

#include "arguments/Arguments.h"

namespace oxaplayer {

CLI::App* RemuxCommand::define(CLI::App& app) {
    CLI::App* remux = app.add_subcommand(
            "remux", "Put AVC and AAC into MP4 or an MPEG transport stream as they are");
    remux->add_option("INPUT", mOptions.input, "A media file")->required()->type_name("");
    addPartOptions(*remux, &mOptions.part);
    addOutputOptions(*remux, &mOptions);
    addIndexOption(*remux, &mOptions);
    return remux;
}

std::unique_ptr<Job> RemuxCommand::makeJob() {
    mOptions.outputDescriptor = takeStandardOutput();
    return std::make_unique<Remux>(mOptions, this);
}

}  // namespace oxaplayer
