// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "oxa/jobs/Play.h"

#include <utility>

#include "play/PlayRun.h"
#include "run/JobContext.h"
#include "tracks/TrackChoice.h"

namespace oxa::jobs {

namespace {

constexpr int32_t kMostChannels = 8;

// One playback from its options to its result.
class PlayWork {
  public:
    PlayWork(const PlayOptions& options, JobContext& context)
        : mOptions(options), mContext(context), mInput(&context.cancelled()) {}

    Result run() {
        if (auto failure = work()) mResult.failure = *failure;
        return mResult;
    }

  private:
    std::optional<Failure> work();
    void leaveOutManyChannels();
    std::optional<Failure> openOutputs();
    std::optional<Failure> play();

    const PlayOptions& mOptions;
    JobContext& mContext;
    InputFile mInput;
    TrackChoice mTracks;
    PlayOutputs mOutputs;
    Result mResult;
};

std::optional<Failure> PlayWork::work() {
    if (auto failure = mInput.open(mOptions.input)) return failure;
    if (auto failure = chooseTracks(mInput, mOptions.only, mOptions.part, mContext, &mTracks))
        return failure;
    leaveOutManyChannels();
    if (!mTracks.video && !mTracks.audio) {
        return Failure{FailureKind::kInput,
                       "'" + mOptions.input + "' has no sound that can be played"};
    }
    if (auto failure = openOutputs()) return failure;
    mContext.listener().onStart({tracksOf(mTracks), {}});
    return play();
}

void PlayWork::leaveOutManyChannels() {
    if (!mTracks.audio || mTracks.audio->channels <= kMostChannels) return;
    mContext.listener().onWarning("the sound has " + std::to_string(mTracks.audio->channels) +
                                  " channels, more than " + std::to_string(kMostChannels) +
                                  ", and is left out");
    mTracks.audio.reset();
}

std::optional<Failure> PlayWork::openOutputs() {
    if (mTracks.video) {
        auto failure = mOutputs.openDisplay(mOptions.display, mOptions.input, mContext);
        if (failure) return failure;
    }
    return mTracks.audio ? mOutputs.openSound(mOptions.sound, mContext) : std::nullopt;
}

std::optional<Failure> PlayWork::play() {
    PlayRun run({mInput, mTracks, mOutputs, mOptions.freeRun, mOptions.tunneled}, mContext);
    const auto failure = run.run();
    mResult.total = run.progress();
    mResult.durationSec = mResult.total.timeSec;
    mResult.soundSec = run.soundUs() / 1e6;
    mResult.damaged = run.damaged();
    if (mOptions.display.kind == DisplayChoice::Kind::kPng && mTracks.video) {
        mResult.files.push_back(mOptions.display.directory);
    }
    if (mOptions.sound.kind == SoundChoice::Kind::kWav && mTracks.audio) {
        mResult.files.push_back(mOptions.sound.file);
    }
    if (failure) return failure;
    return run.wasCancelled() ? std::optional(cancelledFailure()) : std::nullopt;
}

}  // namespace

Play::Play(PlayOptions options, JobListener* listener)
    : Job(listener), mOptions(std::move(options)) {}

Result Play::work(JobContext& context) {
    return PlayWork(mOptions, context).run();
}

}  // namespace oxa::jobs
