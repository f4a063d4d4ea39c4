// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "frame/Command.h"

namespace oxaplayer {

// `probe INPUT`: the tracks of a file as the library sees them.
class ProbeCommand : public Command {
  public:
    CLI::App* define(CLI::App& app) override;
    ExitCode run(const CommonOptions& common) override;

  private:
    std::string mInput;
};

}  // namespace oxaplayer
