// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "arguments/SourceOptions.h"
#include "frame/Command.h"

namespace oxaplayer {

// `camera (--hdmi SOURCE | --usb SOURCE | --list)`: what the camera says it can do, or what devices
// there are.
class CameraCommand : public Command {
  public:
    CLI::App* define(CLI::App& app) override;
    ExitCode run(const CommonOptions& common) override;

  private:
    SourceChoice mChoice;
    bool mList = false;
};

}  // namespace oxaplayer
