// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/jobs/Play.h>

#include <optional>

#include "frame/JobCommand.h"
#include "process/TerminalKeys.h"

namespace oxaplayer {

// `play INPUT`: the first picture and the first sound of a file, at their times.
class PlayCommand : public JobCommand {
  public:
    PlayCommand() : JobCommand("play") {}

    CLI::App* define(CLI::App& app) override;

    const PlayOptions& options() const { return mOptions; }

  private:
    std::unique_ptr<Job> makeJob() override;
    void onJobMade() override;
    void onJobDone() override;
    Json fieldsOf(const Result& result) const override;
    std::string causeOf(const Result& result) const override;
    void onStart(const JobStart& start) override;
    void onProgress(const Progress& progress) override;
    void onFrameRate(bool encoder, double framesPerSecond) override;

    PlayOptions mOptions;
    std::optional<DisplayChoice> mDisplay;
    std::optional<SoundChoice> mSound;
    std::optional<int32_t> mVolume;
    Play* mPlay = nullptr;
    std::unique_ptr<TerminalKeys> mKeys;
    bool mHasStarted = false;
    bool mHasVideo = false;
};

}  // namespace oxaplayer
