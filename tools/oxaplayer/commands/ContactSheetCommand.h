// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/jobs/ContactSheet.h>

#include "frame/JobCommand.h"

namespace oxaplayer {

// `contact-sheet INPUT -o PNG`: pictures from all over a film in one picture, with their times.
class ContactSheetCommand : public JobCommand {
  public:
    ContactSheetCommand() : JobCommand("contact-sheet") {}

    CLI::App* define(CLI::App& app) override;

  private:
    std::optional<Failure> check() override;
    std::unique_ptr<Job> makeJob() override;
    std::string summaryOf(const Result& result) const override;
    Json fieldsOf(const Result& result) const override;
    std::string causeOf(const Result& result) const override;
    std::string output() const override { return mOptions.output; }
    void onStart(const JobStart& start) override;
    void onProgress(const Progress& progress) override;
    void onDamage(uint64_t) override {}  // a sheet shows it

    ContactSheetOptions mOptions;
    ContactSheet* mSheet = nullptr;
};

}  // namespace oxaplayer
