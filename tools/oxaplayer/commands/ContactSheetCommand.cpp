// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "commands/ContactSheetCommand.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "arguments/Arguments.h"
#include "arguments/OutputName.h"
#include "report/ProgressText.h"

namespace oxaplayer {

namespace {

constexpr int32_t kMostPerSide = 20;
constexpr int32_t kNarrowestSheet = 64;

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
    sheet->add_option("INPUT", mOptions.input, "A media file")->required()->type_name("");
    sheet->add_option("-o,--output", mOptions.output, "A PNG file; - is standard output")
            ->required()
            ->type_name("OUTPUT");
    addNumber(*sheet, "--columns", &mOptions.columns, 1, kMostPerSide, "N", "Pictures in a row");
    addNumber(*sheet, "--rows", &mOptions.rows, 1, kMostPerSide, "N", "Rows");
    addNumber(*sheet, "--width", &mOptions.width, kNarrowestSheet, kHighestPictureSide, "PX",
              "Width of the whole sheet");
    sheet->add_flag("--force", mOptions.replaceOutput, "Replace an existing OUTPUT");
    return sheet;
}

std::optional<Failure> ContactSheetCommand::check() {
    if (auto failure = nameInFolder(mOptions.input, ".png", &mOptions.output)) return failure;
    return refuseTerminal(mOptions.output);
}

std::unique_ptr<Job> ContactSheetCommand::makeJob() {
    mOptions.outputDescriptor = takeStandardOutput();
    auto sheet = std::make_unique<ContactSheet>(mOptions, this);
    mSheet = sheet.get();
    return sheet;
}

void ContactSheetCommand::onStart(const JobStart& start) {
    announceStart({{"input", mOptions.input}, {"output", mOptions.output}, {"format", "png"}});
    announceTracks(mOptions.input, start.tracks);
}

void ContactSheetCommand::onProgress(const Progress& progress) {
    mReport->status(std::to_string(progress.pictures) + " of " +
                            std::to_string(progress.totalPictures.value_or(0)) + " pictures",
                    {{"frames", progress.pictures}});
}

std::string ContactSheetCommand::summaryOf(const Result& result) const {
    if (!result.ok()) return {};
    return shownName(result.files.front()) + ": " + formatCount(result.total.pictures, "picture") +
           ", " + sizeText(mSheet->size()) + ", " + formatBytes(result.total.bytes.value_or(0));
}

std::string ContactSheetCommand::causeOf(const Result& result) const {
    if (result.failure.kind != FailureKind::kCancelled) return JobCommand::causeOf(result);
    return "interrupted, nothing was written";
}

Json ContactSheetCommand::fieldsOf(const Result& result) const {
    Json fields = Json::object();
    if (result.ok()) {
        fields["output"] = result.files.front();
        fields["width"] = mSheet->size().width;
        fields["height"] = mSheet->size().height;
        fields["times_s"] = Json::array();
        for (const int64_t timeUs : mSheet->timesUs())
            fields["times_s"].push_back(rounded(timeUs / 1e6, 1000));
    }
    return fields;
}

}  // namespace oxaplayer
