// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/jobs/Remux.h>

#include "frame/MediaFileCommand.h"

namespace oxaplayer {

// `remux INPUT -o OUTPUT`: the AVC and AAC of a file in another container.
class RemuxCommand : public MediaFileCommand {
  public:
    RemuxCommand() : MediaFileCommand("remux", &mOptions) {}

    CLI::App* define(CLI::App& app) override;

  private:
    std::unique_ptr<Job> makeJob() override;
    std::string input() const override { return mOptions.input; }

    RemuxOptions mOptions;
};

}  // namespace oxaplayer
