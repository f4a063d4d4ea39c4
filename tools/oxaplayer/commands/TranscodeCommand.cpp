// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "commands/TranscodeCommand.h"

#include "arguments/Arguments.h"
#include "arguments/ParsedOption.h"
#include "arguments/TranscodeArguments.h"

namespace oxaplayer {

CLI::App* TranscodeCommand::define(CLI::App& app) {
    CLI::App* transcode = app.add_subcommand(
            "transcode", "Turn a file into AVC and AAC in MP4 or an MPEG transport stream");
    addTranscodeOptions(*transcode, &mOptions);
    CLI::Option* resumable = transcode->add_flag(
            "--resumable", mIsResumable,
            "Keep parts in OUTPUT.parts meanwhile, with which the same command goes on");
    addParsedOption(
            *transcode, "--jobs", &mOptions.jobs,
            [](const std::string& text) { return parseWholeNumber(text, 1, 64); }, "N",
            "Parts at once (default: one for each processor, at most 8)", "1 to 64");
    transcode->get_option("--jobs")->needs(resumable);
    return transcode;
}

std::unique_ptr<Job> TranscodeCommand::makeJob() {
    mOptions.outputDescriptor = takeStandardOutput();
    if (mIsResumable) return std::make_unique<TranscodeInParts>(mOptions, this);
    return std::make_unique<Transcode>(mOptions, this);
}

void TranscodeCommand::onCancelling() {
    if (!mIsResumable) MediaFileCommand::onCancelling();
}

std::string TranscodeCommand::causeOf(const Result& result) const {
    if (!mIsResumable || result.failure.kind != FailureKind::kCancelled) {
        return MediaFileCommand::causeOf(result);
    }
    const std::string text = result.failure.text;
    const size_t colon = text.find(": ");
    if (colon == std::string::npos) return "interrupted, nothing was written";
    return "interrupted" + text.substr(colon) + ", with which the same command goes on";
}

}  // namespace oxaplayer
