// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "frame/Command.h"

#include "commands/CameraCommand.h"
#include "commands/ContactSheetCommand.h"
#include "commands/JoinCommand.h"
#include "commands/PlanCommand.h"
#include "commands/PlayCommand.h"
#include "commands/ProbeCommand.h"
#include "commands/RecordCommand.h"
#include "commands/RemuxCommand.h"
#include "commands/TranscodeCommand.h"

namespace oxaplayer {

std::vector<std::unique_ptr<Command>> makeCommands() {
    std::vector<std::unique_ptr<Command>> commands;
    commands.push_back(std::make_unique<TranscodeCommand>());
    commands.push_back(std::make_unique<RemuxCommand>());
    commands.push_back(std::make_unique<PlanCommand>());
    commands.push_back(std::make_unique<JoinCommand>());
    commands.push_back(std::make_unique<PlayCommand>());
    commands.push_back(std::make_unique<RecordCommand>());
    commands.push_back(std::make_unique<CameraCommand>());
    commands.push_back(std::make_unique<ProbeCommand>());
    commands.push_back(std::make_unique<ContactSheetCommand>());
    return commands;
}

}  // namespace oxaplayer
