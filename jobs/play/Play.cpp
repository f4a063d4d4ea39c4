// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "oxa/jobs/Play.h"

#include <oxa/host/InputChoice.h>

#include <algorithm>
#include <deque>
#include <utility>

#include "encode/EncodeSetup.h"
#include "play/PlayRun.h"
#include "run/JobContext.h"
#include "tracks/TrackChoice.h"

namespace oxa::jobs {

namespace {

constexpr int32_t kMostChannels = 8;
constexpr int64_t kSeekStepUs = 10'000'000;
constexpr int64_t kShortestRestUs = 100'000;  // behind a seek
constexpr int64_t kTimeResolutionUs = 1'000;  // no two pictures are so near
constexpr int64_t kUsualPictureUs = 40'000;
constexpr int64_t kLongestPictureUs = 3'600'000'000;
constexpr int64_t kMuchLonger = 8;

// One playback from its options to its result.
class PlayWork {
  public:
    PlayWork(const PlayOptions& options, JobContext& context)
        : mOptions(options),
          mContext(context),
          mInput(&context.cancelled()),
          mVolume(options.volume) {}

    Result run() {
        if (auto failure = work()) mResult.failure = *failure;
        return mResult;
    }

  private:
    std::optional<Failure> work();
    void leaveOutManyChannels();
    std::optional<Failure> openOutputs();
    std::optional<Failure> play();
    std::optional<Failure> playWithKeys();
    std::optional<Failure> playFrom(int64_t fromUs, std::optional<int64_t> pictureUs);
    std::optional<Failure> obeyKeys();
    std::optional<Failure> showPicture(int64_t fromUs);
    std::optional<PlayKey> nextKey(bool isPaused);
    int64_t lastPlaceUs() const;

    const PlayOptions& mOptions;
    JobContext& mContext;
    InputFile mInput;
    TrackChoice mTracks;
    PlayOutputs mOutputs;
    PlayVolume mVolume;
    host::InputChoice mChoice;  // of the part
    const int64_t mBeginUs = nowUs();
    int64_t mPlaceUs = 0;       // in the part
    std::deque<PlayKey> mKeys;  // to be obeyed
    bool mIsOver = false;
    Result mResult;
};

std::optional<Failure> PlayWork::work() {
    if (mOptions.volume < 0 || mOptions.volume > 100) {
        return wrongOption("volume", std::to_string(mOptions.volume), "0 to 100");
    }
    if (auto failure = mInput.open(mOptions.input)) return failure;
    if (auto failure = chooseTracks(mInput, mOptions.only, mOptions.part, mContext, &mTracks))
        return failure;
    mChoice = host::inputChoice();
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
    auto failure = playWithKeys();
    if (mOptions.display.kind == DisplayChoice::Kind::kPng && mTracks.video) {
        mResult.files.push_back(mOptions.display.directory);
    }
    if (mOptions.sound.kind == SoundChoice::Kind::kWav && mTracks.audio) {
        mResult.files.push_back(mOptions.sound.file);
    }
    if (failure) return failure;
    return mContext.cancelled() ? std::optional(cancelledFailure()) : std::nullopt;
}

// Each key that moves the playback begins another run, in another window of the file.
std::optional<Failure> PlayWork::playWithKeys() {
    for (;;) {
        auto failure = playFrom(mPlaceUs, std::nullopt);
        if (failure || mIsOver) return failure;
        if (mKeys.empty()) return std::nullopt;  // played to its end
        if (auto pauseFailure = obeyKeys()) return pauseFailure;
        if (mIsOver) return std::nullopt;
    }
}

// Until the playback is to go on from mPlaceUs.
std::optional<Failure> PlayWork::obeyKeys() {
    bool isPaused = false;
    while (!mIsOver) {
        const auto key = nextKey(isPaused);
        if (!key) return std::nullopt;
        std::optional<Failure> failure;
        if (*key == PlayKey::kPause) {
            isPaused = !isPaused;
        } else if (*key == PlayKey::kNextPicture) {
            isPaused = true;
            failure = showPicture(mPlaceUs + kTimeResolutionUs);
        } else {
            const int64_t stepUs = *key == PlayKey::kBack ? -kSeekStepUs : kSeekStepUs;
            mPlaceUs = std::clamp<int64_t>(mPlaceUs + stepUs, 0, lastPlaceUs());
            if (isPaused) failure = showPicture(mPlaceUs);
        }
        if (failure) return failure;
    }
    return std::nullopt;
}

// Nothing when none was pressed and nobody pauses, or when the job is over.
std::optional<PlayKey> PlayWork::nextKey(bool isPaused) {
    while (mKeys.empty() && isPaused && !mIsOver) {
        const auto event = mContext.queue()->pop(nowUs() + kTickUs);
        if (!event) continue;
        mIsOver =
                std::holds_alternative<Closed>(*event) || std::holds_alternative<Cancelled>(*event);
        const auto* pressed = std::get_if<Pressed>(&*event);
        if (pressed == nullptr || mVolume.press(pressed->key)) continue;
        if (pressed->key == PlayKey::kFullScreen) {
            mOutputs.display().toggleFullScreen();
            continue;
        }
        mIsOver = mIsOver || pressed->key == PlayKey::kQuit;
        mKeys.push_back(pressed->key);
    }
    if (mKeys.empty() || mIsOver) return std::nullopt;
    const PlayKey key = mKeys.front();
    mKeys.pop_front();
    return key;
}

int64_t PlayWork::lastPlaceUs() const {
    return std::max<int64_t>(0, longestUs(mTracks) - kShortestRestUs);
}

// The first one at `fromUs` or later; sound has none, but a place.
std::optional<Failure> PlayWork::showPicture(int64_t fromUs) {
    if (!mTracks.video) {
        mPlaceUs = fromUs;
        return std::nullopt;
    }
    const Ratio& rate = mTracks.video->exactFrameRate;
    int64_t lengthUs = rate.numerator > 0 ? int64_t{1'000'000} * rate.denominator / rate.numerator
                                          : kUsualPictureUs;
    // Where pictures do not come at one rate there may be none so soon.
    for (; !mIsOver && lengthUs < kLongestPictureUs; lengthUs *= kMuchLonger) {
        const int64_t shown = mResult.total.pictures;
        if (auto failure = playFrom(fromUs, lengthUs)) return failure;
        if (mResult.total.pictures > shown || !mKeys.empty()) break;
    }
    return std::nullopt;
}

// To the end of the part, or one picture of that length.
std::optional<Failure> PlayWork::playFrom(int64_t fromUs, std::optional<int64_t> pictureUs) {
    host::InputChoice choice = mChoice;
    // A place is that of a picture, rounded.
    const int64_t startUs = std::max<int64_t>(0, fromUs - kTimeResolutionUs / 2);
    choice.startUs += startUs;
    if (pictureUs) {
        const int64_t endUs = choice.startUs + *pictureUs;
        choice.endUs = std::min(endUs, choice.endUs.value_or(endUs));
    }
    host::setInputChoice(choice);
    TrackChoice tracks = mTracks;
    if (pictureUs) tracks.audio.reset();
    PlayRun run({mInput, tracks, mOutputs, mOptions.freeRun || pictureUs.has_value(),
                 mOptions.tunneled && !pictureUs, mVolume, startUs, mResult.total,
                 pictureUs.has_value()},
                mContext);
    auto failure = run.run();
    mResult.total = run.progress();
    mResult.total.elapsedSec = (nowUs() - mBeginUs) / 1e6;
    mResult.durationSec = mResult.total.timeSec;
    mResult.soundSec += run.soundUs() / 1e6;
    mResult.damaged += run.damaged();
    if (run.hasShown() || !tracks.video) mPlaceUs = run.shownUs();
    mKeys.insert(mKeys.end(), run.keys().begin(), run.keys().end());
    mIsOver = run.wasClosed() || run.wasCancelled();
    return failure;
}

}  // namespace

Play::Play(PlayOptions options, JobListener* listener)
    : Job(listener), mOptions(std::move(options)) {}

void Play::press(PlayKey key) {
    context().queue()->push(Pressed{key});
}

Result Play::work(JobContext& context) {
    return PlayWork(mOptions, context).run();
}

}  // namespace oxa::jobs
