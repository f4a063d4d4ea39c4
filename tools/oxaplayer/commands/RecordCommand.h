// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/jobs/Record.h>

#include "arguments/SourceOptions.h"
#include "frame/JobCommand.h"

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
    std::string summaryOf(const Result& result) const override;
    Json fieldsOf(const Result& result) const override;
    std::string causeOf(const Result& result) const override;
    std::string output() const override { return mOptions.output; }
    void onStart(const JobStart& start) override;
    void onProgress(const Progress& progress) override;
    void onFile(const std::string& path) override;
    std::string nameOf(const Result& result) const;

    RecordOptions mOptions;
    SourceChoice mSource;
    bool mHasVideo = false;
};

}  // namespace oxaplayer
