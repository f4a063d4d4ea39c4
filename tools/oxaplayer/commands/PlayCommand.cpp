// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "commands/PlayCommand.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "arguments/Arguments.h"
#include "arguments/ParsedOption.h"
#include "arguments/PlayChoices.h"
#include "report/ProgressText.h"

namespace oxaplayer {

CLI::App* PlayCommand::define(CLI::App& app) {
    CLI::App* play = app.add_subcommand(
            "play", "Play a file on the screen and the loudspeakers (f: full screen, q: quit)");
    play->add_option("INPUT", mOptions.input, "A media file")->required()->type_name("");
    addPartOptions(*play, &mOptions.part);
    addOnlyOption(*play, &mOptions.only);
    play->add_flag("--free-run", mOptions.freeRun,
                   "Show pictures as fast as they are decoded; none is dropped");
    play->add_flag("--tunneled", mOptions.tunneled,
                   "The decoder shows the pictures by itself, in step with the sound");
    addParsedOption(*play, "--display", &mDisplay, parseDisplayChoice, "WHERE",
                    "window, null or png:DIR (default: window)", "window, null or png:DIR");
    addParsedOption(*play, "--sound", &mSound, parseSoundChoice, "WHERE",
                    "default, null or wav:FILE (default: default)", "default, null or wav:FILE");
    return play;
}

std::unique_ptr<Job> PlayCommand::makeJob() {
    mOptions.display = mDisplay.value_or(DisplayChoice{});
    mOptions.sound = mSound.value_or(SoundChoice{});
    return std::make_unique<Play>(mOptions, this);
}

void PlayCommand::onStart(const JobStart& start) {
    mHasStarted = true;
    mHasVideo = start.tracks.front().isVideo;
    announceStart({{"input", mOptions.input}});
    announceTracks(mOptions.input, start.tracks);
}

void PlayCommand::onFrameRate(bool, double framesPerSecond) {
    mReport->event("fps", {{"fps", rounded(framesPerSecond, 100)}});
}

void PlayCommand::onProgress(const Progress& progress) {
    std::string line = formatClock(progress.timeSec);
    if (progress.totalSec) line += " / " + formatClock(*progress.totalSec);
    if (mHasVideo) line += rateText(progress, 2);
    mReport->status(line, {{"time_s", rounded(progress.timeSec, 1000)},
                           {"frames", progress.pictures},
                           {"fps", rounded(progress.picturesPerSecond, 100)},
                           {"dropped", progress.dropped}});
}

std::string PlayCommand::causeOf(const Result& result) const {
    if (result.failure.kind == FailureKind::kCancelled) return "interrupted";
    return JobCommand::causeOf(result);
}

Json PlayCommand::fieldsOf(const Result& result) const {
    if (!mHasStarted) return Json::object();
    return {{"duration_s", rounded(result.durationSec, 1000)},
            {"frames", result.total.pictures},
            {"dropped", result.total.dropped},
            {"damaged", result.damaged},
            {"elapsed_s", rounded(result.total.elapsedSec, 1000)}};
}

}  // namespace oxaplayer
