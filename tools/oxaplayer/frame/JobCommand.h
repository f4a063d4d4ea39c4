// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/jobs/Job.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "frame/Command.h"
#include "report/Events.h"
#include "report/Report.h"

namespace oxaplayer {

// A command that runs a job, tells how it goes, and can be interrupted: the frame around what such
// a command does.
class JobCommand : public Command, public JobListener {
  public:
    ExitCode run(const CommonOptions& common) final;

  protected:
    explicit JobCommand(const char* name) : mName(name) {}

    // What only the client can say about its options: nothing, or what is wrong with them.
    virtual std::optional<Failure> check() { return std::nullopt; }
    virtual std::unique_ptr<Job> makeJob() = 0;
    // What SIGUSR1 does, on a thread of its own, while the job exists; empty: the process ends.
    virtual std::function<void()> onUserSignal() { return nullptr; }
    // Around the job, on the same thread.
    virtual void onJobMade() {}
    virtual void onJobDone() {}
    // What standard output gets, for a shell.
    virtual std::string answerOf(const Result&) const { return {}; }
    // What was written, for people; empty for nothing.
    virtual std::string summaryOf(const Result&) const { return {}; }
    // The fields of the result event, without "exit".
    virtual Json fieldsOf(const Result& result) const = 0;
    // Why it failed, in the words of the command line.
    virtual std::string causeOf(const Result& result) const;
    // As the user wrote it; "-" is standard output, so that events have to go elsewhere.
    virtual std::string output() const { return {}; }

    // Of standard output as the job's output, which nothing else is printed to from then on;
    // otherwise -1. Once.
    int takeStandardOutput() const;
    void announceStart(const Json& fields) const;
    // One event and one line, where there is something.
    void announceLeftBehind(const LeftBehind& left) const;
    // One event and one line for each.
    void announceTracks(const std::string& input, const std::vector<Track>& tracks) const;

    void onProgress(const Progress& progress) override;
    void onWarning(const std::string& text) override;
    void onFrameRate(bool encoder, double framesPerSecond) override;
    void onSourceEnd() override;
    void onHotplug(bool plugged) override;
    void onDamage(uint64_t count) override;

    std::unique_ptr<Report> mReport;

  private:
    Result runJob();

    const char* const mName;
    std::shared_ptr<Job> mJob;  // also of the thread that waits for signals
};

// "standard output" for "-".
std::string shownName(const std::string& output);

// Nothing, or what is wrong when media for `output` would go to a terminal.
std::optional<Failure> refuseTerminal(const std::string& output);

}  // namespace oxaplayer
