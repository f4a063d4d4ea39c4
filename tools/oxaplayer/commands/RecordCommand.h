// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/jobs/Record.h>

#include "arguments/SourceOptions.h"
#include "frame/JobCommand.h"
#include "process/TerminalKeys.h"

namespace oxaplayer {

// `record (--hdmi SOURCE | --usb SOURCE) -o OUTPUT`: pictures and sound of a live source as AVC and
// AAC.
class RecordCommand : public JobCommand {
  public:
    RecordCommand() : JobCommand("record") {}

    CLI::App* define(CLI::App& app) override;

    const RecordOptions& options() const { return mOptions; }

  private:
    std::optional<Failure> check() override;
    std::unique_ptr<Job> makeJob() override;
    void onJobMade() override;
    void onJobDone() override;
    std::function<void()> onUserSignal() override;
    std::string summaryOf(const Result& result) const override;
    Json fieldsOf(const Result& result) const override;
    std::string causeOf(const Result& result) const override;
    std::string output() const override { return mOptions.output; }
    void onStart(const JobStart& start) override;
    void onProgress(const Progress& progress) override;
    void onFile(const std::string& path) override;
    void onReconnect() override;
    void onSwitch(bool on) override;
    bool hasSeveralFiles() const;
    int64_t replayBytes(const std::vector<Track>& tracks) const;
    void onScenario(const ScenarioStep& step) override;
    std::string nameOf(const Result& result) const;

    RecordOptions mOptions;
    SourceChoice mSource;
    std::optional<std::string> mScenario;  // a file
    bool mHasVideo = false;
    Record* mRecord = nullptr;  // the job
    std::unique_ptr<TerminalKeys> mKeys;
};

}  // namespace oxaplayer
