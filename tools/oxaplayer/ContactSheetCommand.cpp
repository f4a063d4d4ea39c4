// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "ContactSheetCommand.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "Console.h"
#include "EncodeSetup.h"
#include "FaultWarnings.h"
#include "Signals.h"
#include "TargetFormat.h"

namespace oxaplayer {

namespace {

constexpr int32_t kMostPerSide = 20;
constexpr int32_t kNarrowestSheet = 64;
constexpr int32_t kNarrowestCell = 16;
constexpr int32_t kHighestSheet = 32768;

void addNumber(CLI::App& app, const std::string& name, int* value, int32_t lowest, int32_t highest,
               const std::string& type, const std::string& description) {
    const std::string range = std::to_string(lowest) + " to " + std::to_string(highest);
    app.add_option_function<std::string>(
               name,
               [=](const std::string& text) {
                   const auto number = parseWholeNumber(text, lowest, highest);
                   if (!number) {
                       throw CLI::ValidationError(name + " '" + text + "': expected " + range);
                   }
                   *value = *number;
               },
               description + " (default: " + std::to_string(*value) + ")")
            ->type_name(type);
}

std::string sizeText(Size size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

}  // namespace

CLI::App* ContactSheetCommand::define(CLI::App& app) {
    CLI::App* sheet = app.add_subcommand(
            "contact-sheet", "Show pictures from all over a film in one picture, with their times");
    sheet->add_option("INPUT", mInputPath, "A media file")->required()->type_name("");
    sheet->add_option("-o,--output", mOutputPath, "A PNG file; - is standard output")
            ->required()
            ->type_name("OUTPUT");
    addNumber(*sheet, "--columns", &mLayout.columns, 1, kMostPerSide, "N", "Pictures in a row");
    addNumber(*sheet, "--rows", &mLayout.rows, 1, kMostPerSide, "N", "Rows");
    addNumber(*sheet, "--width", &mLayout.width, kNarrowestSheet, kHighestPictureSide, "PX",
              "Width of the whole sheet");
    sheet->add_flag("--force", mForce, "Replace an existing OUTPUT");
    return sheet;
}

std::optional<Failure> ContactSheetCommand::work() {
    const int listener = oxa::host::addFaultListener(
            [queue = mQueue](const oxa::host::Fault& fault) { queue->push(fault); });
    auto failure = makeSheet();
    oxa::host::removeFaultListener(listener);
    if (!Signals::arrived() || mWritten) return failure;
    return Failure{FailureKind::kCancelled, "interrupted, nothing was written"};
}

std::optional<Failure> ContactSheetCommand::makeSheet() {
    if (auto failure = refuseTerminal(mOutputPath)) return failure;
    if (auto failure = mInput.open(mInputPath)) return failure;
    if (auto failure = chooseTracks(mInput, Only::kVideo, mReport.get(), &mTracks)) return failure;
    if (auto failure = chooseCell()) return failure;
    if (auto failure = openOutput()) return failure;
    mReport->event("start", {{"command", "contact-sheet"},
                             {"input", mInputPath},
                             {"output", mOutputPath},
                             {"format", "png"}});
    announceTracks(mInput, mTracks, mReport.get());

    StillGrabber grabber(mInput, *mTracks.video, mCell);
    const int cells = mLayout.cells();
    const auto showProgress = [this, cells](int done) {
        mReport->status(std::to_string(done) + " of " + std::to_string(cells) + " pictures",
                        {{"frames", done}}, nowUs());
    };
    if (auto failure = grabber.grab(cells, showProgress, &mStills)) return failure;
    FaultWarnings warnings([this](const std::string& text) { mReport->warning(text); });
    while (const auto event = mQueue->pop(0)) {
        if (const auto* fault = std::get_if<oxa::host::Fault>(&*event)) warnings.add(*fault);
    }
    warnings.summarize();
    if (Signals::arrived()) return std::nullopt;

    ContactSheet sheet(mLayout, mCell);
    for (size_t i = 0; i < mStills.size(); ++i) {
        if (sheet.place(static_cast<int>(i), mStills[i].path, mStills[i].timeUs)) continue;
        return Failure{FailureKind::kFailed, "cannot read '" + mStills[i].path + "'"};
    }
    return write(sheet);
}

// The cells have the shape of the picture as it is to be seen.
std::optional<Failure> ContactSheetCommand::chooseCell() {
    mCell = mLayout.cellFor(uprightSize(*mTracks.video));
    const int64_t sheetHeight = static_cast<int64_t>(mLayout.rows) * mCell.height;
    if (mCell.width >= kNarrowestCell && mCell.height >= kNarrowestCell &&
        mCell.height <= kHighestPictureSide && sheetHeight <= kHighestSheet) {
        return std::nullopt;
    }
    return Failure{FailureKind::kOptions, std::to_string(mLayout.columns) + " columns and " +
                                                  std::to_string(mLayout.rows) +
                                                  " rows of pictures of " + sizeText(mCell) +
                                                  " make no sheet"};
}

std::optional<Failure> ContactSheetCommand::openOutput() {
    if (mOutputPath != "-" && mInput.isSameFileAs(mOutputPath)) {
        return Failure{FailureKind::kOptions, "'" + mOutputPath + "' is the input itself"};
    }
    return oxaplayer::openOutput(mOutputPath, mForce, WriteWay::kWhenComplete, &mOutput);
}

std::optional<Failure> ContactSheetCommand::write(const ContactSheet& sheet) {
    const std::vector<uint8_t> png = sheet.encode();
    if (png.empty())
        return Failure{FailureKind::kFailed, "the sheet is too large for this computer"};
    if (!writeFully(mOutput.descriptor(), {png.begin(), png.end()})) {
        return Failure{FailureKind::kOutput,
                       "cannot write '" + mOutputPath + "': " + strerror(errno)};
    }
    if (auto failure = mOutput.finish()) return failure;
    mWritten = sheet.size();
    mReport->endProgress();
    mReport->note((mOutputPath == "-" ? "standard output" : mOutput.currentName()) + ": " +
                  std::to_string(mStills.size()) + " pictures, " + sizeText(*mWritten) + ", " +
                  formatBytes(static_cast<int64_t>(png.size())));
    return std::nullopt;
}

Json ContactSheetCommand::result() const {
    Json fields = Json::object();
    if (mWritten) {
        fields["output"] = mOutputPath == "-" ? "-" : mOutput.currentName();
        fields["width"] = mWritten->width;
        fields["height"] = mWritten->height;
        fields["times_s"] = Json::array();
        for (const Still& still : mStills)
            fields["times_s"].push_back(rounded(still.timeUs / 1e6, 1000));
    }
    return fields;
}

}  // namespace oxaplayer
