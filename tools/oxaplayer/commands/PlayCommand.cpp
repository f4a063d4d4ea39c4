// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "commands/PlayCommand.h"

#include <CLI/CLI.hpp>
#include <map>
#include <nlohmann/json.hpp>

#include "arguments/Arguments.h"
#include "arguments/ParsedOption.h"
#include "arguments/PlayChoices.h"
#include "report/ProgressText.h"

namespace oxaplayer {

namespace {

// Of what a key sends.
std::optional<PlayKey> playKey(const std::string& text) {
    static const std::map<std::string, PlayKey> kKeys = {
            {" ", PlayKey::kPause},        {"\033[D", PlayKey::kBack},
            {"\033[C", PlayKey::kForward}, {"\033[A", PlayKey::kLouder},
            {"\033[B", PlayKey::kQuieter}, {"\033OD", PlayKey::kBack},
            {"\033OC", PlayKey::kForward}, {"\033OA", PlayKey::kLouder},
            {"\033OB", PlayKey::kQuieter}, {"m", PlayKey::kMute},
            {"f", PlayKey::kFullScreen},   {".", PlayKey::kNextPicture},
            {"q", PlayKey::kQuit}};
    const auto key = kKeys.find(text);
    if (key == kKeys.end()) return std::nullopt;
    return key->second;
}

}  // namespace

CLI::App* PlayCommand::define(CLI::App& app) {
    CLI::App* play = app.add_subcommand("play", "Play a file on the screen and the loudspeakers");
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
    addParsedOption(
            *play, "--volume", &mVolume,
            [](const std::string& text) { return parseWholeNumber(text, 0, 100); }, "PERCENT",
            "How loud, 0 to 100 (default: 100)", "a whole number from 0 to 100");
    play->footer(
            "Keys, in the window and in the terminal: space pause, left and right 10 s, up and "
            "down\n"
            "volume, m mute, f full screen, . one picture, q quit.\n" +
            app.get_footer());
    return play;
}

std::unique_ptr<Job> PlayCommand::makeJob() {
    mOptions.display = mDisplay.value_or(DisplayChoice{});
    mOptions.sound = mSound.value_or(SoundChoice{});
    mOptions.volume = mVolume.value_or(mOptions.volume);
    auto play = std::make_unique<Play>(mOptions, this);
    mPlay = play.get();
    return play;
}

void PlayCommand::onJobMade() {
    if (mOptions.input == "-" || !TerminalKeys::isPossible()) return;
    mKeys = std::make_unique<TerminalKeys>([this](const std::string& text) {
        if (const auto key = playKey(text)) mPlay->press(*key);
    });
}

void PlayCommand::onJobDone() {
    mKeys.reset();
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
