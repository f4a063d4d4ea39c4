// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "frame/JobCommand.h"

#include <fcntl.h>
#include <oxa/jobs/Cleanup.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "process/Signals.h"
#include "process/TerminalKeys.h"
#include "report/Advice.h"
#include "report/TrackText.h"

namespace oxaplayer {

ExitCode JobCommand::run(const CommonOptions& common) {
    mReport = std::make_unique<Report>(mName, common,
                                       output() == "-" ? STDERR_FILENO : STDOUT_FILENO);
    Result result = runJob();
    onJobDone();
    const std::string answer = result.ok() ? answerOf(result) : "";
    if (!mReport->hasEvents()) {
        if (auto failure = printAnswer(answer)) result.failure = *failure;
    }
    mReport->endProgress();
    const std::string summary = summaryOf(result);
    if (!summary.empty()) mReport->note(summary);
    if (!result.ok()) mReport->error({result.failure.kind, causeOf(result)});
    ExitCode code = exitCodeOf(result.failure.kind);
    Json event = {{"exit", static_cast<int>(code)}};
    event.update(fieldsOf(result));
    mReport->event("result", event);
    if (const auto lost = mReport->lostEvents()) {
        if (answer.empty()) {
            mReport->warning(lost->text);
        } else {
            code = exitCodeOf(lost->kind);
            mReport->error(*lost);
        }
    }
    // What hangs cannot be waited for: the process ends without its threads.
    if (result.failure.kind == FailureKind::kStalled) {
        TerminalKeys::restore();
        _exit(static_cast<int>(code));
    }
    return code;
}

Result JobCommand::runJob() {
    if (const auto failure = check()) {
        Result result;
        result.failure = *failure;
        return result;
    }
    mJob = makeJob();
    Signals::takeOver({[job = mJob] { job->cancel(); },
                       [] {
                           removeUnfinishedForGood();
                           TerminalKeys::restore();
                       },
                       onUserSignal()});
    onJobMade();
    removeUnfinishedAtFatalError();
    return mJob->run();
}

std::string JobCommand::causeOf(const Result& result) const {
    return adviceFor(result.failure);
}

int JobCommand::takeStandardOutput() const {
    if (output() != "-") return -1;
    const int media = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    return media;
}

void JobCommand::announceStart(const Json& fields) const {
    Json event = {{"command", mName}};
    event.update(fields);
    mReport->event("start", event);
}

void JobCommand::announceTracks(const std::string& input, const std::vector<Track>& tracks) const {
    for (const Track& track : tracks) {
        mReport->event("track", trackFields(track));
        mReport->note((input == "-" ? "standard input" : input) + ": " + describeTrack(track));
    }
}

void JobCommand::announceLeftBehind(const LeftBehind& left) const {
    if (left.isNothing()) return;
    mReport->event("left_out", {{"pictures", left.pictures},
                                {"sounds", left.sounds},
                                {"subtitles", left.subtitles},
                                {"data", left.data},
                                {"chapters", left.chapters},
                                {"tags", left.tags}});
    mReport->note("left out: " + leftBehindText(left));
}

void JobCommand::onProgress(const Progress& progress) {
    mReport->progress(progress);
}

void JobCommand::onWarning(const std::string& text) {
    mReport->warning(text);
}

void JobCommand::onFrameRate(bool encoder, double framesPerSecond) {
    mReport->event("fps", {{"side", encoder ? "encoder" : "decoder"},
                           {"fps", rounded(framesPerSecond, 100)}});
}

void JobCommand::onSourceEnd() {
    mReport->event("eos", Json::object());
}

void JobCommand::onHotplug(bool plugged) {
    mReport->event("hotplug", {{"plugged", plugged}});
}

void JobCommand::onDamage(uint64_t count) {
    mReport->damage(count);
}

std::string shownName(const std::string& output) {
    return output == "-" ? "standard output" : output;
}

std::optional<Failure> refuseTerminal(const std::string& output) {
    if (output != "-" || !isatty(STDOUT_FILENO)) return std::nullopt;
    return Failure{FailureKind::kOptions, "standard output is a terminal, which shows no media"};
}

}  // namespace oxaplayer
