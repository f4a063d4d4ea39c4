// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Arguments.h"
#include "JobCommand.h"
#include "PlayOutputs.h"
#include "TrackChoice.h"
#include "files/InputFile.h"

namespace oxaplayer {

class PlayJob;

struct PlayOptions {
    std::string input;
    Only only = Only::kBoth;
    bool freeRun = false;
    bool tunneled = false;
    std::optional<DisplayChoice> display;
    std::optional<SoundChoice> sound;
};

// `play INPUT`: the first picture and the first sound of a file, at their times.
class PlayCommand : public JobCommand {
  public:
    PlayCommand();
    ~PlayCommand() override;

    CLI::App* define(CLI::App& app) override;

    const PlayOptions& options() const { return mOptions; }

  private:
    std::optional<Failure> work() override;
    Json result() const override;
    bool hasStalled() const override;
    void leaveOutManyChannels();

    PlayOptions mOptions;
    InputFile mInput;
    TrackChoice mTracks;
    PlayOutputs mOutputs;
    std::unique_ptr<PlayJob> mJob;
};

}  // namespace oxaplayer
