// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "commands/TranscodeCommand.h"

#include <nlohmann/json.hpp>

#include "arguments/Arguments.h"
#include "arguments/OutputName.h"
#include "arguments/ParsedOption.h"
#include "report/ProgressText.h"

namespace oxaplayer {

namespace {

// Whether there is a file that has the output's name, or would have it.
bool hasFile(const Result& result) {
    const bool isGood = result.ok() || result.failure.kind == FailureKind::kCancelled;
    return isGood && !result.files.empty();
}

}  // namespace

CLI::App* TranscodeCommand::define(CLI::App& app) {
    CLI::App* transcode = app.add_subcommand(
            "transcode", "Turn a file into AVC and AAC in MP4 or an MPEG transport stream");
    transcode->add_option("INPUT", mOptions.input, "A media file")->required()->type_name("");
    addPartOptions(*transcode, &mOptions.part);
    addEncodeOptions(*transcode, &mOptions);
    addParsedOption(*transcode, "--profile", &mOptions.profile, parseProfile, "NAME",
                    "AVC profile (default: the encoder's choice)", "baseline, main or high");
    addParsedOption(*transcode, "--level", &mOptions.level, parseLevel, "N.N",
                    "AVC level (default: the encoder's choice)", "a level from 1.0 to 5.2");
    addParsedOption(*transcode, "--audio-rate", &mOptions.audioRate, parseAacSampleRate, "HZ",
                    "Sample rate of the sound (default: the source's)",
                    "a rate that AAC has, from 8000 to 96000");
    addParsedOption(
            *transcode, "--audio-channels", &mOptions.audioChannels,
            [](const std::string& text) { return parseWholeNumber(text, 1, 6); }, "N",
            "Channels of the sound (default: the source's, at most 6)", "1 to 6");
    transcode->add_flag_callback(
            "--no-metadata", [this] { mOptions.keepsMetadata = false; },
            "Leave out title, artist, date, comment, languages and chapters");
    return transcode;
}

std::optional<Failure> TranscodeCommand::check() {
    const bool isTs = mOptions.container == Container::kMpeg2Ts;
    if (auto failure = nameInFolder(mOptions.input, isTs ? ".ts" : ".mp4", &mOptions.output)) {
        return failure;
    }
    return refuseTerminal(mOptions.output);
}

std::unique_ptr<Job> TranscodeCommand::makeJob() {
    mOptions.outputDescriptor = takeStandardOutput();
    return std::make_unique<Transcode>(mOptions, this);
}

void TranscodeCommand::onStart(const JobStart& start) {
    announceStart({{"input", mOptions.input},
                   {"output", mOptions.output},
                   {"format", containerName(start.container)}});
    announceTracks(mOptions.input, start.tracks);
    announceLeftBehind(start.leftBehind);
}

void TranscodeCommand::onCancelling() {
    mReport->note("interrupted, finishing the output (once more to end at once)");
}

// "out.mp4: 5.1 s, 150 pictures, 812 kB (took 2.1 s, 2.4x)"
std::string TranscodeCommand::summaryOf(const Result& result) const {
    if (!hasFile(result)) return {};
    const Progress& total = result.total;
    char text[64];
    snprintf(text, sizeof(text), ": %.1f s", result.durationSec);
    std::string summary = shownName(result.files.front()) + text;
    if (total.pictures > 0) summary += ", " + formatCount(total.pictures, "picture");
    if (total.bytes) summary += ", " + formatBytes(*total.bytes);
    snprintf(text, sizeof(text), " (took %.1f s, %.1fx)", total.elapsedSec, total.speed);
    return summary + text;
}

std::string TranscodeCommand::causeOf(const Result& result) const {
    if (result.failure.kind != FailureKind::kCancelled) return JobCommand::causeOf(result);
    if (!hasFile(result)) return "interrupted, nothing was written";
    return "interrupted; what was written until then is '" + result.files.front() + "'";
}

Json TranscodeCommand::fieldsOf(const Result& result) const {
    Json fields = {{"damaged", result.damaged}};
    if (hasFile(result)) {
        fields["output"] = result.files.front();
        fields["duration_s"] = rounded(result.durationSec, 1000);
        const Json numbers = progressFields(result.total);
        for (const char* key : {"frames", "elapsed_s", "fps", "speed", "bytes"}) {
            if (numbers.contains(key)) fields[key] = numbers[key];
        }
    }
    return fields;
}

}  // namespace oxaplayer
