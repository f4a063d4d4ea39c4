// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "RecordCommand.h"

#include <oxa/host/SoundOutput.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <vector>

#include "CameraTrial.h"
#include "EncodeSetup.h"
#include "ParsedOption.h"
#include "RecordFormat.h"
#include "RecordJob.h"
#include "Signals.h"
#include "files/InputFile.h"
#include "tracks/SourceTracks.h"

namespace oxaplayer {

namespace {

const Failure kNothingWritten = {FailureKind::kCancelled, "interrupted, nothing was recorded"};

std::string shownName(const std::string& output) {
    return output == "-" ? "standard output" : output;
}

// The file itself knows best; what went through a pipe can only be counted.
double durationSec(const std::string& path, const RecordJob& job) {
    InputFile written;
    std::vector<Track> tracks;
    if (job.numbers().bytes && !written.open(path) && !readTracks(written, &tracks)) {
        return longestDurationUs(tracks).value_or(0) / 1e6;
    }
    return job.lastTimeUs() / 1e6;
}

}  // namespace

CLI::App* RecordCommand::define(CLI::App& app) {
    CLI::App* record = app.add_subcommand(
            "record", "Record a camera or an HDMI source as AVC and AAC (Ctrl-C ends it)");
    addSourceOptions(*record, &mOptions.source);
    record->add_option("--audio", mOptions.source.audio,
                       "Sound: alsa:DEVICE, pulse:DEVICE, lavfi:GRAPH, a file, or none (default: "
                       "the source's own; of v4l2: alsa:default)")
            ->type_name("SOURCE|none");
    addEncodeOptions(*record, &mOptions);
    addParsedOption(*record, "--duration", &mOptions.durationUs, parseSeconds, "S",
                    "Seconds to record (default: until Ctrl-C or the end of the source)",
                    "seconds above 0 such as 90 or 2.5");
    record->add_flag("--preview", mOptions.preview, "Show the pictures in a window (q: end)");
    record->add_flag("--monitor", mOptions.monitor, "Play the sound while it is recorded");
    return record;
}

std::optional<Failure> RecordCommand::work() {
    if (auto failure = checkOptions()) return failure;
    if (auto failure = mSource.open(mOptions.source, mOptions.only)) return failure;
    if (auto failure = chooseFormat()) return failure;
    if (Signals::arrived()) return kNothingWritten;
    if (auto failure = openOutputs()) return failure;
    announce();
    RecordJob job({mSource, mPreview, mOutput, mContainer, mFormat, mFrameRate,
                   mOptions.durationUs ? mOptions.durationUs : mSource.lengthUs(), mOptions.preview,
                   mOptions.monitor},
                  mQueue, mReport.get());
    const auto failure = job.run();
    return complete(job, failure);
}

// All that can be said without opening anything.
std::optional<Failure> RecordCommand::checkOptions() {
    if (auto failure = checkChoice(mOptions.source, mOptions.only)) return failure;
    if (auto failure = setUpEncoding(mOptions, &mContainer)) return failure;
    const auto wrongUsage = [](const std::string& text) {
        return Failure{FailureKind::kOptions, text};
    };
    if (mOptions.source.hdmi && mOptions.frameRate.value_or(1) > kHighestHdmiFrameRate) {
        return wrongUsage("--fps '" + std::to_string(*mOptions.frameRate) +
                          "': the HDMI receiver has 1 to " + std::to_string(kHighestHdmiFrameRate));
    }
    if (mOptions.preview && mOptions.only == Only::kAudio) {
        return wrongUsage("--preview needs a picture");
    }
    if (mOptions.monitor && (mOptions.only == Only::kVideo || mOptions.source.audio == "none")) {
        return wrongUsage("--monitor needs sound");
    }
    return std::nullopt;
}

std::optional<Failure> RecordCommand::chooseFormat() {
    if (mSource.hasAudio()) chooseAudioFormat(&mFormat);
    if (!mSource.hasAudio() && mOptions.monitor) {
        return Failure{FailureKind::kInput, "'" + mSource.name() + "' has no sound to monitor"};
    }
    if (!mSource.hasVideo()) return std::nullopt;
    android::CameraParameters camera;
    if (auto failure = readCameraParameters(mSource, &camera)) return failure;
    auto failure = chooseVideoFormat(mOptions, camera, mSource.isHdmi(), &mFormat, &mFrameRate);
    if (failure) return failure;
    if (mOptions.frameRate && *mOptions.frameRate != mFrameRate) {
        mReport->warning(
                "of the HDMI receiver's pictures every first, second, third, ... can be "
                "recorded: " +
                std::to_string(mFrameRate) + " a second instead of " +
                std::to_string(*mOptions.frameRate));
    }
    if (!mSource.isDevice()) return std::nullopt;
    return tryCamera(mSource, {mFormat.width, mFormat.height}, mFormat.frameRate);
}

std::optional<Failure> RecordCommand::openOutputs() {
    if (mOptions.output != "-" && mSource.isReadFrom(mOptions.output)) {
        return Failure{FailureKind::kOptions, "'" + mOptions.output + "' is the source itself"};
    }
    if (mOptions.preview) {
        auto failure = mPreview.openDisplay(DisplayChoice{}, mSource.name(), mQueue, mReport.get());
        if (failure) return failure;
    }
    oxa::host::useNullSound();
    if (mOptions.monitor) {
        if (auto failure = mPreview.openSound(SoundChoice{}, mReport.get())) return failure;
    }
    return openOutput(mOptions, mContainer, WriteWay::kInPlace, &mOutput);
}

void RecordCommand::announce() const {
    mReport->event("start", {{"command", "record"},
                             {"input", mSource.name()},
                             {"output", mOptions.output},
                             {"format", containerName(mContainer)}});
    std::string line = mSource.name() + ":";
    if (mSource.hasVideo()) {
        mReport->event("track", {{"index", 0},
                                 {"kind", "video"},
                                 {"width", mFormat.width},
                                 {"height", mFormat.height},
                                 {"frame_rate", mFrameRate}});
        line += " " + std::to_string(mFormat.width) + "x" + std::to_string(mFormat.height) + ", " +
                std::to_string(mFrameRate) + " fps";
    }
    if (mSource.hasAudio()) {
        mReport->event("track", {{"index", mSource.hasVideo() ? 1 : 0},
                                 {"kind", "audio"},
                                 {"source", mSource.soundName()},
                                 {"channels", mFormat.channelCount},
                                 {"sample_rate", mFormat.sampleRate}});
        line += mSource.hasVideo() ? ", " : " ";
        line += mSource.soundName() == mSource.name() ? "its sound"
                                                      : "the sound of " + mSource.soundName();
    }
    mReport->note(line + (mSource.hasAudio() ? "" : ", no sound"));
}

std::optional<Failure> RecordCommand::complete(const RecordJob& job,
                                               const std::optional<Failure>& failure) {
    if (!job.hasOutput()) {
        if (failure) return failure;
        if (job.wasInterrupted()) return kNothingWritten;
        return Failure{FailureKind::kInput, "'" + mSource.name() + "' has given nothing to record"};
    }
    // Not worth the file that was there before, which comes back.
    if (failure && failure->kind == FailureKind::kOutput && !mOutput.isKept()) return failure;
    // A disk that is full is told in the job's own words.
    auto unfinished = mOutput.finish();
    if (!failure && unfinished) return unfinished;
    summarize(job);
    const std::string kept =
            "; what was recorded until then is '" + shownName(mResult->output) + "'";
    // A device or a pipe keeps nothing.
    if (failure && !mResult->numbers.bytes) return failure;
    if (failure) return Failure{failure->kind, failure->text + kept};
    if (!mOptions.durationUs || !job.isShort()) return std::nullopt;
    if (job.wasInterrupted()) return Failure{FailureKind::kCancelled, "interrupted" + kept};
    return Failure{FailureKind::kFailed, "ended before the duration that was asked for" + kept};
}

void RecordCommand::summarize(const RecordJob& job) {
    const std::string& output = mOptions.output;
    mResult = Result{output, durationSec(output, job), job.numbers(), job.droppedFrames()};
    char text[64];
    snprintf(text, sizeof(text), ": %.1f s", mResult->durationSec);
    std::string line = shownName(output) + text;
    if (mSource.hasVideo()) {
        line += ", " + std::to_string(mResult->numbers.frames) + " pictures, " +
                std::to_string(mResult->droppedFrames) + " dropped";
    }
    if (mResult->numbers.bytes) line += ", " + formatBytes(*mResult->numbers.bytes);
    mReport->endProgress();
    mReport->note(line);
}

Json RecordCommand::result() const {
    Json fields = Json::object();
    if (mResult) {
        fields["output"] = mResult->output;
        fields["duration_s"] = rounded(mResult->durationSec, 1000);
        fields["elapsed_s"] = rounded(mResult->numbers.elapsedSec, 1000);
        if (mSource.hasVideo()) {
            fields["frames"] = mResult->numbers.frames;
            fields["dropped"] = mResult->droppedFrames;
        }
        if (mResult->numbers.bytes) fields["bytes"] = *mResult->numbers.bytes;
    }
    return fields;
}

}  // namespace oxaplayer
