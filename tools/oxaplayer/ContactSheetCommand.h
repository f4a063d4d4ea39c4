// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ContactSheet.h"
#include "JobCommand.h"
#include "StillGrabber.h"
#include "TrackChoice.h"
#include "files/InputFile.h"

namespace oxaplayer {

// `contact-sheet INPUT -o PNG`: pictures from all over a film in one picture, with their times.
class ContactSheetCommand : public JobCommand {
  public:
    ContactSheetCommand() : JobCommand("contact-sheet") {}

    CLI::App* define(CLI::App& app) override;

  private:
    std::optional<Failure> work() override;
    Json result() const override;
    bool usesStandardOutput() const override { return mOutputPath == "-"; }
    std::optional<Failure> makeSheet();
    std::optional<Failure> openOutput();
    std::optional<Failure> chooseCell();
    std::optional<Failure> write(const ContactSheet& sheet);

    std::string mInputPath;
    std::string mOutputPath;
    SheetLayout mLayout;
    bool mForce = false;
    InputFile mInput;
    TrackChoice mTracks;
    Size mCell = {0, 0};
    std::optional<Size> mWritten;  // the sheet's size
    std::vector<Still> mStills;
};

}  // namespace oxaplayer
