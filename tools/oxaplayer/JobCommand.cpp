// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "JobCommand.h"

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "Signals.h"
#include "TemporaryFolder.h"

namespace oxaplayer {

namespace {

void removeUnfinished() {
    OutputFile::removeTemporary();
    TemporaryFolder::removeAtExit();
}

}  // namespace

ExitCode JobCommand::run(const CommonOptions& common) {
    mReport = std::make_unique<Report>(mName, common,
                                       usesStandardOutput() ? STDERR_FILENO : STDOUT_FILENO);
    mQueue = std::make_shared<EventQueue>();
    Signals::takeOver([queue = mQueue] { queue->push(Interrupted{}); }, &removeUnfinished);
    OutputFile::removeAtFatalError();
    const auto failure = work();
    mReport->endProgress();
    ExitCode code = ExitCode::kDone;
    if (failure) {
        mReport->error(*failure);
        mOutput.discard();
        code = exitCodeOf(failure->kind);
    }
    Json event = {{"exit", static_cast<int>(code)}};
    event.update(result());
    mReport->event("result", event);
    if (hasStalled()) _exit(static_cast<int>(code));
    return code;
}

}  // namespace oxaplayer
