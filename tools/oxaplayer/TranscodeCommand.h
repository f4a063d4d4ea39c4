// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "JobCommand.h"
#include "TargetFormat.h"
#include "TrackChoice.h"
#include "files/InputFile.h"

namespace oxaplayer {

class TranscodeJob;

// `transcode INPUT -o OUTPUT`: the first picture and the first sound of a file as AVC and AAC.
class TranscodeCommand : public JobCommand {
  public:
    TranscodeCommand() : JobCommand("transcode") {}

    CLI::App* define(CLI::App& app) override;

    const TranscodeOptions& options() const { return mOptions; }

  private:
    // What was written, whole or shortened.
    struct Result {
        std::string output;  // its name now
        double durationSec;
        ProgressNumbers numbers;
    };

    std::optional<Failure> work() override;
    Json result() const override;
    bool usesStandardOutput() const override { return mOptions.output == "-"; }
    bool hasStalled() const override { return mStalled; }
    std::optional<Failure> openOutput();
    void announce() const;
    std::optional<Failure> complete(const TranscodeJob& job);
    void summarize(const TranscodeJob& job);

    TranscodeOptions mOptions;
    Container mContainer = Container::kMpeg2Ts;
    InputFile mInput;
    TrackChoice mTracks;
    std::optional<Result> mResult;
    bool mStalled = false;
    uint64_t mDamaged = 0;
};

}  // namespace oxaplayer
