// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/jobs/Transcode.h>

#include "commands/JobCommand.h"

namespace oxaplayer {

// `transcode INPUT -o OUTPUT`: the first picture and the first sound of a file as AVC and AAC.
class TranscodeCommand : public JobCommand {
  public:
    TranscodeCommand() : JobCommand("transcode") {}

    CLI::App* define(CLI::App& app) override;

    const TranscodeOptions& options() const { return mOptions; }

  private:
    std::optional<Failure> check() override;
    std::unique_ptr<Job> makeJob() override;
    std::string summaryOf(const Result& result) const override;
    Json fieldsOf(const Result& result) const override;
    std::string causeOf(const Result& result) const override;
    std::string output() const override { return mOptions.output; }
    void onStart(const JobStart& start) override;
    void onCancelling() override;

    TranscodeOptions mOptions;
};

}  // namespace oxaplayer
