// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "arguments/SourceOptions.h"
#include "frame/Command.h"

namespace oxaplayer {

// `camera (--hdmi SOURCE | --usb SOURCE)`: what the camera says it can do.
class CameraCommand : public Command {
  public:
    CLI::App* define(CLI::App& app) override;
    ExitCode run(const CommonOptions& common) override;

  private:
    SourceChoice mChoice;
};

}  // namespace oxaplayer
