// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <OxaMediaCodecPlayerCommon.h>

#include <memory>
#include <optional>
#include <string>

#include "Arguments.h"
#include "CaptureSource.h"
#include "JobCommand.h"
#include "PlayOutputs.h"
#include "Progress.h"

namespace oxaplayer {

class RecordJob;

struct RecordOptions : EncodeOptions {
    CaptureChoice source;
    std::optional<int64_t> durationUs;
    bool preview = false;
    bool monitor = false;
};

// `record (--hdmi SOURCE | --usb SOURCE) -o OUTPUT`: pictures and sound of a live source as AVC and
// AAC.
class RecordCommand : public JobCommand {
  public:
    RecordCommand() : JobCommand("record") {}

    CLI::App* define(CLI::App& app) override;

    const RecordOptions& options() const { return mOptions; }

  private:
    // What was recorded, whole or shortened.
    struct Result {
        std::string output;  // "-": standard output
        double durationSec;
        ProgressNumbers numbers;
        int64_t droppedFrames;
    };

    std::optional<Failure> work() override;
    Json result() const override;
    bool usesStandardOutput() const override { return mOptions.output == "-"; }
    std::optional<Failure> checkOptions();
    std::optional<Failure> chooseFormat();
    std::optional<Failure> openOutputs();
    void announce() const;
    std::optional<Failure> complete(const RecordJob& job, const std::optional<Failure>& failure);
    void summarize(const RecordJob& job);

    RecordOptions mOptions;
    Container mContainer = Container::kMpeg2Ts;
    CaptureSource mSource;
    PlayOutputs mPreview;
    android::_AV_FORMAT_FORMAT mFormat = {};
    int32_t mFrameRate = 0;  // to be expected
    std::optional<Result> mResult;
};

}  // namespace oxaplayer
