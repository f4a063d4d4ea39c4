// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "PlayCommand.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "ParsedOption.h"
#include "PlayJob.h"
#include "Signals.h"

namespace oxaplayer {

namespace {

constexpr int32_t kMostChannels = 8;

}  // namespace

PlayCommand::PlayCommand() : JobCommand("play") {}
PlayCommand::~PlayCommand() = default;

CLI::App* PlayCommand::define(CLI::App& app) {
    CLI::App* play = app.add_subcommand(
            "play", "Play a file on the screen and the loudspeakers (f: full screen, q: quit)");
    play->add_option("INPUT", mOptions.input, "A media file")->required()->type_name("");
    addOnlyOption(*play, &mOptions.only);
    play->add_flag("--free-run", mOptions.freeRun,
                   "Show pictures as fast as they are decoded; none is dropped");
    play->add_flag("--tunneled", mOptions.tunneled,
                   "The decoder shows the pictures by itself, in step with the sound");
    addParsedOption(*play, "--display", &mOptions.display, parseDisplayChoice, "WHERE",
                    "window, null or png:DIR (default: window)", "window, null or png:DIR");
    addParsedOption(*play, "--sound", &mOptions.sound, parseSoundChoice, "WHERE",
                    "default, null or wav:FILE (default: default)", "default, null or wav:FILE");
    return play;
}

std::optional<Failure> PlayCommand::work() {
    const Failure interrupted = {FailureKind::kCancelled, "interrupted"};
    if (auto failure = mInput.open(mOptions.input)) return failure;
    auto noTracks = chooseTracks(mInput, mOptions.only, mReport.get(), &mTracks);
    if (Signals::arrived()) return interrupted;
    if (noTracks) return noTracks;
    leaveOutManyChannels();
    if (!mTracks.video && !mTracks.audio) {
        return Failure{FailureKind::kInput,
                       "'" + mOptions.input + "' has no sound that can be played"};
    }
    if (mTracks.video) {
        auto failure = mOutputs.openDisplay(mOptions.display.value_or(DisplayChoice{}),
                                            mOptions.input, mQueue, mReport.get());
        if (failure) return failure;
    }
    if (mTracks.audio) {
        auto failure = mOutputs.openSound(mOptions.sound.value_or(SoundChoice{}), mReport.get());
        if (failure) return failure;
    }
    mReport->event("start", {{"command", "play"}, {"input", mOptions.input}});
    announceTracks(mInput, mTracks, mReport.get());
    mJob = std::make_unique<PlayJob>(
            PlayJob::Work{mInput, mTracks, mOutputs, mOptions.freeRun, mOptions.tunneled}, mQueue,
            mReport.get());
    if (auto failure = mJob->run()) return failure;
    return mJob->wasInterrupted() ? std::optional(interrupted) : std::nullopt;
}

void PlayCommand::leaveOutManyChannels() {
    if (!mTracks.audio || mTracks.audio->channels <= kMostChannels) return;
    mReport->warning("the sound has " + std::to_string(mTracks.audio->channels) +
                     " channels, more than " + std::to_string(kMostChannels) + ", and is left out");
    mTracks.audio.reset();
}

bool PlayCommand::hasStalled() const {
    return mJob && mJob->hasStalled();
}

Json PlayCommand::result() const {
    return mJob ? mJob->summary() : Json::object();
}

}  // namespace oxaplayer
