// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/jobs/TranscodeInParts.h>

#include "frame/MediaFileCommand.h"

namespace oxaplayer {

// `transcode INPUT -o OUTPUT`: the first picture and the first sound of a file as AVC and AAC.
class TranscodeCommand : public MediaFileCommand {
  public:
    TranscodeCommand() : MediaFileCommand("transcode", &mOptions) {}

    CLI::App* define(CLI::App& app) override;

    const TranscodeOptions& options() const { return mOptions; }

  private:
    std::unique_ptr<Job> makeJob() override;
    std::string causeOf(const Result& result) const override;
    void onCancelling() override;
    std::string input() const override { return mOptions.input; }

    TranscodeInPartsOptions mOptions;
    bool mIsResumable = false;
};

}  // namespace oxaplayer
