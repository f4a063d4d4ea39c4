// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "Command.h"
#include "EventQueue.h"
#include "InputFile.h"
#include "OutputFile.h"
#include "Report.h"
#include "TargetFormat.h"
#include "TrackChoice.h"

namespace oxaplayer {

class TranscodeJob;

// `transcode INPUT -o OUTPUT`: the first picture and the first sound of a file as AVC and AAC.
class TranscodeCommand : public Command {
  public:
    CLI::App* define(CLI::App& app) override;
    ExitCode run(const CommonOptions& common) override;

    const TranscodeOptions& options() const { return mOptions; }

  private:
    // What was written, whole or shortened.
    struct Result {
        std::string output;  // its name now
        double durationSec;
        ProgressNumbers numbers;
    };

    std::optional<Failure> transcode();
    std::optional<Failure> openOutput();
    void announce() const;
    std::optional<Failure> complete(const TranscodeJob& job);
    void summarize(const TranscodeJob& job);
    void reportResult(ExitCode code) const;

    TranscodeOptions mOptions;
    Container mContainer = Container::kMpeg2Ts;
    std::shared_ptr<EventQueue> mQueue;
    std::unique_ptr<Report> mReport;
    InputFile mInput;
    OutputFile mOutput;
    TrackChoice mTracks;
    std::optional<Result> mResult;
    bool mStalled = false;
};

}  // namespace oxaplayer
