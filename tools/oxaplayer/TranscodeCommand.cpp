// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "TranscodeCommand.h"

#include <nlohmann/json.hpp>

#include "EncodeSetup.h"
#include "ParsedOption.h"
#include "Signals.h"
#include "TranscodeJob.h"

namespace oxaplayer {

namespace {

const Failure kNothingWritten = {FailureKind::kCancelled, "interrupted, nothing was written"};

// "out.mp4: 5.1 s, 150 pictures, 812 kB (took 2.1 s, 2.4x)"
std::string summaryOf(const std::string& name, double durationSec, const ProgressNumbers& numbers) {
    char text[64];
    snprintf(text, sizeof(text), "%.1f s", durationSec);
    std::string summary = name + ": " + text;
    if (numbers.frames > 0) summary += ", " + std::to_string(numbers.frames) + " pictures";
    if (numbers.bytes) summary += ", " + formatBytes(*numbers.bytes);
    snprintf(text, sizeof(text), " (took %.1f s, %.1fx)", numbers.elapsedSec, numbers.speed);
    return summary + text;
}

}  // namespace

CLI::App* TranscodeCommand::define(CLI::App& app) {
    CLI::App* transcode = app.add_subcommand(
            "transcode", "Turn a file into AVC and AAC in MP4 or an MPEG transport stream");
    transcode->add_option("INPUT", mOptions.input, "A media file")->required()->type_name("");
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
    return transcode;
}

std::optional<Failure> TranscodeCommand::work() {
    if (auto failure = setUpEncoding(mOptions, &mContainer)) return failure;
    if (auto failure = mInput.open(mOptions.input)) return failure;
    auto noTracks = chooseTracks(mInput, mOptions.only, mReport.get(), &mTracks);
    if (Signals::arrived()) return kNothingWritten;
    if (noTracks) return noTracks;
    if (auto failure = openOutput()) return failure;
    announce();

    const Track* video = mTracks.video ? &*mTracks.video : nullptr;
    const Track* audio = mTracks.audio ? &*mTracks.audio : nullptr;
    TranscodeJob job(
            {mInput, mOutput, mContainer, video, audio, makeTargetFormat(mOptions, video, audio)},
            mQueue, mReport.get());
    const auto failure = job.run();
    mStalled = job.hasStalled();
    mDamaged = job.damaged();
    return failure ? failure : complete(job);
}

std::optional<Failure> TranscodeCommand::openOutput() {
    if (mOptions.output != "-" && mInput.isSameFileAs(mOptions.output)) {
        return Failure{FailureKind::kOptions, "'" + mOptions.output + "' is the input itself"};
    }
    return oxaplayer::openOutput(mOptions, mContainer, WriteWay::kWhenComplete, &mOutput);
}

void TranscodeCommand::announce() const {
    mReport->event("start", {{"command", "transcode"},
                             {"input", mOptions.input},
                             {"output", mOptions.output},
                             {"format", containerName(mContainer)}});
    announceTracks(mInput, mTracks, mReport.get());
}

std::optional<Failure> TranscodeCommand::complete(const TranscodeJob& job) {
    if (!job.wasInterrupted()) {
        if (!job.hasOutput()) {
            return Failure{FailureKind::kInput,
                           "'" + mOptions.input + "' has nothing that can be decoded"};
        }
        if (auto failure = mOutput.finish()) return failure;
        summarize(job);
        return std::nullopt;
    }
    if (!job.hasOutput()) return kNothingWritten;
    if (auto failure = mOutput.keepShortened()) return failure;
    summarize(job);
    return Failure{FailureKind::kCancelled,
                   "interrupted; what was written until then is '" + mResult->output + "'"};
}

void TranscodeCommand::summarize(const TranscodeJob& job) {
    Result result = {mOutput.path() == "-" ? "-" : mOutput.currentName(), job.endUs() / 1e6,
                     job.numbers()};
    // The file itself knows best; what went through a pipe can only be counted.
    InputFile written;
    std::vector<Track> tracks;
    if (result.numbers.bytes && !written.open(result.output) && !readTracks(written, &tracks)) {
        result.durationSec = longestDurationUs(tracks).value_or(0) / 1e6;
    }
    mReport->endProgress();
    mReport->note(summaryOf(result.output == "-" ? "standard output" : result.output,
                            result.durationSec, result.numbers));
    mResult = result;
}

Json TranscodeCommand::result() const {
    Json fields = {{"damaged", mDamaged}};
    if (mResult) {
        fields["output"] = mResult->output;
        fields["duration_s"] = rounded(mResult->durationSec, 1000);
        const Json numbers = progressFields(mResult->numbers);
        for (const char* key : {"frames", "elapsed_s", "fps", "speed", "bytes"}) {
            if (numbers.contains(key)) fields[key] = numbers[key];
        }
    }
    return fields;
}

}  // namespace oxaplayer
