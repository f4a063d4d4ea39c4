// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/jobs/OutputOptions.h>

#include "frame/JobCommand.h"

namespace oxaplayer {

// A command that makes one media file of others.
class MediaFileCommand : public JobCommand {
  protected:
    // `options` are a derived command's own.
    MediaFileCommand(const char* name, OutputOptions* options)
        : JobCommand(name), mTarget(*options) {}

    // What is read, as the user wrote it.
    virtual std::string input() const = 0;

    std::optional<Failure> check() override;
    std::string output() const override { return mTarget.output; }
    std::string summaryOf(const Result& result) const override;
    Json fieldsOf(const Result& result) const override;
    std::string causeOf(const Result& result) const override;
    void onStart(const JobStart& start) override;
    void onCancelling() override;

  private:
    OutputOptions& mTarget;
};

}  // namespace oxaplayer
