// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Command.h"
#include "ContactSheet.h"
#include "EventQueue.h"
#include "InputFile.h"
#include "OutputFile.h"
#include "Report.h"
#include "StillGrabber.h"
#include "TrackChoice.h"

namespace oxaplayer {

// `contact-sheet INPUT -o PNG`: pictures from all over a film in one picture, with their times.
class ContactSheetCommand : public Command {
  public:
    CLI::App* define(CLI::App& app) override;
    ExitCode run(const CommonOptions& common) override;

  private:
    std::optional<Failure> makeSheet();
    std::optional<Failure> openOutput();
    std::optional<Failure> chooseCell();
    std::optional<Failure> write(const ContactSheet& sheet);
    void reportResult(ExitCode code) const;

    std::string mInputPath;
    std::string mOutputPath;
    SheetLayout mLayout;
    bool mForce = false;
    std::shared_ptr<EventQueue> mQueue;
    std::unique_ptr<Report> mReport;
    InputFile mInput;
    OutputFile mOutput;
    TrackChoice mTracks;
    Size mCell = {0, 0};
    std::optional<Size> mWritten;  // the sheet's size
    std::vector<Still> mStills;
};

}  // namespace oxaplayer
