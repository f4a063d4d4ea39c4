// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "commands/RecordCommand.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "arguments/Arguments.h"
#include "arguments/ParsedOption.h"
#include "report/ProgressText.h"

namespace oxaplayer {

namespace {

// Whether something was recorded, kept or not.
bool hasRecorded(const Result& result) {
    return result.total.pictures > 0 || result.soundSec > 0;
}

}  // namespace

CLI::App* RecordCommand::define(CLI::App& app) {
    CLI::App* record = app.add_subcommand(
            "record", "Record a camera or an HDMI source as AVC and AAC (Ctrl-C ends it)");
    addSourceOptions(*record, &mSource);
    record->add_option("--audio", mSource.audio,
                       "Sound: alsa:DEVICE, pulse:DEVICE, lavfi:GRAPH, a file, or none (default: "
                       "the source's own; of v4l2: alsa:default)")
            ->type_name("SOURCE|none");
    addEncodeOptions(*record, &mOptions);
    record->get_option("--preset")
            ->description(
                    "Speed of the encoder, ultrafast to placebo (default: auto, the slowest up "
                    "to veryfast that keeps up)");
    addParsedOption(
            *record, "--deinterlace", &mOptions.deinterlace,
            [](const std::string& text) { return parseWholeNumber(text, 0, 2); }, "0|1|2",
            "0 off, 1 keep the frame rate, 2 double it (default: 0)", "0, 1 or 2");
    addParsedOption(*record, "--duration", &mOptions.durationUs, parseDuration, "T",
                    "Seconds to record (default: until Ctrl-C or the end of the source)",
                    "seconds above 0 such as 90 or 2.5");
    addParsedOption(*record, "--split", &mOptions.splitUs, parseDuration, "T",
                    "Begin a new file every T, each plays by itself (without a time in OUTPUT's "
                    "name they are numbered: cam-001.mp4)",
                    "a time of a second or more such as 60, 90s, 10m or 1h");
    record->add_flag("--standby", mOptions.standby,
                     "Begin switched off; r (in the preview or the terminal) or SIGUSR1 switches "
                     "on and off, each time into a new file");
    addParsedOption(*record, "--replay", &mOptions.replayUs, parseDuration, "T",
                    "Keep the last T encoded in memory; r begins a file with them",
                    "a time above 0 such as 30, 90s or 2m");
    record->add_flag("--preview", mOptions.preview,
                     "Show the pictures in a window (r: off and on, q: end)");
    record->add_flag("--reconnect", mOptions.reconnect,
                     "A device that is lost ends the file; a new one begins when it is back");
    record->add_option("--scenario", mScenario,
                       "What happens to the HDMI receiver: lines such as 5s unplug, 8s plug")
            ->type_name("FILE");
    record->add_flag("--monitor", mOptions.monitor, "Play the sound while it is recorded");
    return record;
}

std::optional<Failure> RecordCommand::check() {
    if (auto failure = chooseSource(mSource, mOptions.only, &mOptions.source)) return failure;
    if (mScenario) {
        if (auto failure = readScenario(*mScenario, &mOptions.scenario)) return failure;
    }
    if (!mOptions.output.empty() && mOptions.output.back() == '/') {
        return Failure{FailureKind::kOptions,
                       "'" + mOptions.output + "' is a folder, name the file in it, such as '" +
                               mOptions.output + "cam-%F-%H%M%S.mp4'"};
    }
    return refuseTerminal(mOptions.output);
}

std::unique_ptr<Job> RecordCommand::makeJob() {
    mOptions.outputDescriptor = takeStandardOutput();
    auto record = std::make_unique<Record>(mOptions, this);
    mRecord = record.get();
    return record;
}

std::function<void()> RecordCommand::onUserSignal() {
    return [record = mRecord] { record->switchRecording(); };
}

void RecordCommand::onJobMade() {
    if (!TerminalKeys::isPossible()) return;
    mKeys = std::make_unique<TerminalKeys>([record = mRecord](const std::string& key) {
        if (key == "r") record->switchRecording();
    });
}

void RecordCommand::onJobDone() {
    mKeys.reset();
}

void RecordCommand::onStart(const JobStart& start) {
    const std::string& name = mOptions.source.name;
    Json started = {{"input", name},
                    {"output", mOptions.output},
                    {"format", containerName(start.container)}};
    if (!start.preset.empty()) started["preset"] = start.preset;
    announceStart(started);
    std::string line = name + ":";
    for (const Track& track : start.tracks) {
        Json fields = {{"index", track.index}, {"kind", track.isVideo ? "video" : "audio"}};
        if (track.index > 0) line += ",";
        if (track.isVideo) {
            fields.update({{"width", track.width},
                           {"height", track.height},
                           {"frame_rate", *track.frameRate}});
            line += " " + std::to_string(track.width) + "x" + std::to_string(track.height) + ", " +
                    std::to_string(*track.frameRate) + " fps";
        } else {
            fields.update({{"source", track.source},
                           {"channels", track.channels},
                           {"sample_rate", track.sampleRate}});
            line += track.source == name ? " its sound" : " the sound of " + track.source;
        }
        mReport->event("track", fields);
    }
    mHasVideo = start.tracks.front().isVideo;
    if (start.tracks.back().isVideo) line += ", no sound";
    mReport->note(line + (start.preset.empty() ? "" : ", preset " + start.preset));
    if (mOptions.replayUs) {
        mReport->note("the last " + formatClock(*mOptions.replayUs / 1e6) +
                      " stay in memory, about " + formatBytes(replayBytes(start.tracks)));
    }
}

// At the bit rates that were asked for, or those that constant quality usually takes.
int64_t RecordCommand::replayBytes(const std::vector<Track>& tracks) const {
    constexpr double kBitsPerPixel = 0.1;
    constexpr double kSoundBits = 128'000;
    double bits = tracks.back().isVideo ? 0 : mOptions.audioBitRate.value_or(kSoundBits);
    const Track& picture = tracks.front();
    if (picture.isVideo) {
        const double usual = kBitsPerPixel * picture.width * picture.height * *picture.frameRate;
        bits += mOptions.videoBitRate.value_or(static_cast<int64_t>(usual));
    }
    return static_cast<int64_t>(bits / 8 * (*mOptions.replayUs / 1e6));
}

void RecordCommand::onProgress(const Progress& progress) {
    std::string line = (progress.standsBy ? "off  " : "") + formatClock(progress.timeSec);
    Json fields = {{"time_s", rounded(progress.timeSec, 1000)},
                   {"elapsed_s", rounded(progress.elapsedSec, 1000)}};
    if (mHasVideo) {
        line += rateText(progress, 1);
        fields["frames"] = progress.pictures;
        fields["fps"] = rounded(progress.picturesPerSecond, 100);
        fields["dropped"] = progress.dropped;
        fields["thinned"] = progress.thinned;
    }
    if (progress.soundLevelDb) {
        char text[32];
        snprintf(text, sizeof(text), "  sound %.0f dB", *progress.soundLevelDb);
        line += text;
        fields["level_db"] = rounded(*progress.soundLevelDb, 10);
    }
    if (progress.bytes) {
        line += "  " + formatBytes(*progress.bytes);
        fields["bytes"] = *progress.bytes;
    }
    if (hasSeveralFiles()) fields["recording"] = !progress.standsBy;
    mReport->status(line, fields);
}

// Of what was written: a name, or how many there are.
std::string RecordCommand::nameOf(const Result& result) const {
    const std::vector<std::string>& files = result.files;
    if (files.empty()) return shownName(mOptions.output);
    if (files.size() == 1) return shownName(files.front());
    return formatCount(static_cast<int64_t>(files.size()), "file") + " from " + files.front() +
           " to " + files.back();
}

void RecordCommand::onFile(const std::string& path) {
    if (path == "-") return;
    mReport->event("file", {{"output", path}});
    if (hasSeveralFiles()) mReport->note(path);
}

void RecordCommand::onReconnect() {
    mReport->event("reconnect", Json::object());
    mReport->note(mOptions.source.name + " is back");
}

void RecordCommand::onSwitch(bool on) {
    mReport->event("switch", {{"on", on}});
    mReport->note(on ? "recording" : "recording is off");
}

bool RecordCommand::hasSeveralFiles() const {
    return mOptions.splitUs || mOptions.standby || mOptions.replayUs || mOptions.reconnect;
}

void RecordCommand::onScenario(const ScenarioStep& step) {
    const std::string text = scenarioText(step);
    mReport->event("scenario", {{"time_s", rounded(step.timeUs / 1e6, 1000)}, {"what", text}});
    char time[32];
    snprintf(time, sizeof(time), "%g s: ", step.timeUs / 1e6);
    mReport->note(time + text);
}

std::string RecordCommand::summaryOf(const Result& result) const {
    if (!hasRecorded(result)) return {};
    char text[64];
    snprintf(text, sizeof(text), ": %.1f s", result.durationSec);
    std::string line = nameOf(result) + text;
    if (mHasVideo) {
        line += ", " + formatCount(result.total.pictures, "picture") + ", " +
                std::to_string(result.total.dropped) + " dropped";
    }
    if (result.total.bytes) line += ", " + formatBytes(*result.total.bytes);
    if (!result.fasterPreset.empty()) {
        line += " (fewer are dropped with --preset " + result.fasterPreset + ")";
    }
    return line;
}

std::string RecordCommand::causeOf(const Result& result) const {
    const bool wasInterrupted = result.failure.kind == FailureKind::kCancelled;
    const std::string cause = wasInterrupted ? "interrupted" : JobCommand::causeOf(result);
    if (!result.files.empty()) {
        return cause + "; what was recorded until then is '" + nameOf(result) + "'";
    }
    return wasInterrupted ? cause + ", nothing was recorded" : cause;
}

Json RecordCommand::fieldsOf(const Result& result) const {
    Json fields = Json::object();
    if (hasRecorded(result)) {
        fields["output"] = result.files.empty() ? mOptions.output : result.files.back();
        if (hasSeveralFiles()) fields["files"] = result.files;
        fields["duration_s"] = rounded(result.durationSec, 1000);
        fields["elapsed_s"] = rounded(result.total.elapsedSec, 1000);
        if (mHasVideo) {
            fields["frames"] = result.total.pictures;
            fields["dropped"] = result.total.dropped;
        }
        if (!result.fasterPreset.empty()) fields["faster_preset"] = result.fasterPreset;
        if (result.total.bytes) fields["bytes"] = *result.total.bytes;
    }
    return fields;
}

}  // namespace oxaplayer
