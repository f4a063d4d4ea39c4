// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <OxaMediaCodecPlayerCommon.h>

#include <memory>
#include <optional>
#include <string>

#include "Arguments.h"
#include "CaptureSource.h"
#include "Command.h"
#include "EventQueue.h"
#include "OutputFile.h"
#include "PlayOutputs.h"
#include "Progress.h"
#include "Report.h"

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
class RecordCommand : public Command {
  public:
    CLI::App* define(CLI::App& app) override;
    ExitCode run(const CommonOptions& common) override;

    const RecordOptions& options() const { return mOptions; }

  private:
    // What was recorded, whole or shortened.
    struct Result {
        std::string output;  // "-": standard output
        double durationSec;
        ProgressNumbers numbers;
        int64_t droppedFrames;
    };

    std::optional<Failure> record();
    std::optional<Failure> checkOptions();
    std::optional<Failure> chooseFormat();
    std::optional<Failure> openOutputs();
    void announce() const;
    std::optional<Failure> complete(const RecordJob& job, const std::optional<Failure>& failure);
    void summarize(const RecordJob& job);
    void reportResult(ExitCode code) const;

    RecordOptions mOptions;
    Container mContainer = Container::kMpeg2Ts;
    std::shared_ptr<EventQueue> mQueue;
    std::unique_ptr<Report> mReport;
    CaptureSource mSource;
    PlayOutputs mPreview;
    OutputFile mOutput;
    android::_AV_FORMAT_FORMAT mFormat = {};
    int32_t mFrameRate = 0;  // to be expected
    std::optional<Result> mResult;
};

}  // namespace oxaplayer
