// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/jobs/Plan.h>

#include <string>
#include <utility>
#include <vector>

#include "frame/JobCommand.h"

namespace oxaplayer {

// `plan INPUT -o OUTPUT`: the commands that make one film in parts, one a line.
class PlanCommand : public JobCommand {
  public:
    PlanCommand() : JobCommand("plan") {}

    CLI::App* define(CLI::App& app) override;

  private:
    std::optional<Failure> check() override;
    std::unique_ptr<Job> makeJob() override;
    std::string answerOf(const Result& result) const override;
    Json fieldsOf(const Result& result) const override;
    void onStart(const JobStart& start) override;

    std::vector<std::string> commands() const;
    std::string transcoding(const InputPart& part, const std::string& only,
                            const std::string& path) const;
    std::string joining(const std::vector<std::string>& parts) const;
    void remember(const CLI::App& app);
    // The options that were given, of those that are named or of all others.
    std::string given(const std::vector<std::string>& names, bool areMeant) const;
    std::string pathOf(const std::string& part) const;

    PlanOptions mOptions;
    // Options as they were given, by their names: "size", " --size 640x360".
    std::vector<std::pair<std::string, std::string>> mGiven;
    Plan* mPlan = nullptr;
};

// A word as a shell takes it: quoted if it has to be.
std::string shellWord(const std::string& text);

}  // namespace oxaplayer
