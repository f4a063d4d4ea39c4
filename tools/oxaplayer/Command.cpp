// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "Command.h"

#include "CameraCommand.h"
#include "ContactSheetCommand.h"
#include "PlayCommand.h"
#include "ProbeCommand.h"
#include "RecordCommand.h"
#include "TranscodeCommand.h"

namespace oxaplayer {

std::vector<std::unique_ptr<Command>> makeCommands() {
    std::vector<std::unique_ptr<Command>> commands;
    commands.push_back(std::make_unique<TranscodeCommand>());
    commands.push_back(std::make_unique<PlayCommand>());
    commands.push_back(std::make_unique<RecordCommand>());
    commands.push_back(std::make_unique<CameraCommand>());
    commands.push_back(std::make_unique<ProbeCommand>());
    commands.push_back(std::make_unique<ContactSheetCommand>());
    return commands;
}

}  // namespace oxaplayer
