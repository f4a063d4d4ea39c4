// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Arguments.h"
#include "Command.h"
#include "EventQueue.h"
#include "InputFile.h"
#include "PlayOutputs.h"
#include "Report.h"
#include "TrackChoice.h"

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
class PlayCommand : public Command {
  public:
    PlayCommand();
    ~PlayCommand() override;

    CLI::App* define(CLI::App& app) override;
    ExitCode run(const CommonOptions& common) override;

    const PlayOptions& options() const { return mOptions; }

  private:
    std::optional<Failure> play();
    void leaveOutManyChannels();
    void reportResult(ExitCode code) const;

    PlayOptions mOptions;
    std::shared_ptr<EventQueue> mQueue;
    std::unique_ptr<Report> mReport;
    InputFile mInput;
    TrackChoice mTracks;
    PlayOutputs mOutputs;
    std::unique_ptr<PlayJob> mJob;
};

}  // namespace oxaplayer
