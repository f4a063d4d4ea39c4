// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/jobs/Join.h>

#include "frame/MediaFileCommand.h"

namespace oxaplayer {

// `join PART... -o OUTPUT`: several files of AVC and AAC as one.
class JoinCommand : public MediaFileCommand {
  public:
    JoinCommand() : MediaFileCommand("join", &mOptions) {}

    CLI::App* define(CLI::App& app) override;

  private:
    std::unique_ptr<Job> makeJob() override;
    std::string input() const override { return mOptions.parts.front(); }

    JoinOptions mOptions;
};

}  // namespace oxaplayer
