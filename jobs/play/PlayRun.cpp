// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "play/PlayRun.h"

#include <algorithm>

#include "tracks/MessageText.h"

namespace oxa::jobs {

using android::OK;
using android::status_t;

namespace {

constexpr int64_t kLongestStillUs = 3'600'000'000;
constexpr double kFrameRateIntervalSec = 1;
constexpr int64_t kPictureTickUs = 2'000;

int onlyTrack(const TrackChoice& tracks) {
    if (!tracks.video) return android::CODEC_AUDIO_ONLY;
    return tracks.audio ? 0 : android::CODEC_VIDEO_ONLY;
}

}  // namespace

int64_t longestUs(const TrackChoice& tracks) {
    int64_t longest = 0;
    for (const auto& track : {tracks.video, tracks.audio}) {
        if (track) longest = std::max(longest, track->durationUs.value_or(0));
    }
    return longest;
}

PlayRun::PlayRun(const Work& work, JobContext& context)
    : PlayerRun(onlyTrack(work.tracks), context),
      mWork(work),
      mDurationUs(std::max<int64_t>(0, longestUs(work.tracks) - work.offsetUs)),
      mBeginUs(nowUs()),
      mProgress{0, -1, -1, 0, 0} {}

std::optional<Failure> PlayRun::start() {
    status_t status = mPlayer->initiate(android::SourceTypeFile, true, false);
    if (status == OK) {
        status = mPlayer->setDataSource(mWork.input.descriptor(), 0, mWork.input.size());
    }
    if (status == OK && mWork.tunneled) status = mPlayer->setTunneledPlayback(true);
    if (status == OK) status = mPlayer->setSurface(mWork.outputs.display().producer());
    if (status == OK) status = mPlayer->setFreeRun(mWork.freeRun);
    if (status == OK) status = mPlayer->setCalculateFPS(kFrameRateIntervalSec);
    if (status == OK) status = mPlayer->prepare();
    if (status != OK) return Failure{FailureKind::kFailed, "prepare: " + statusText(status)};
    mStarted = std::async(std::launch::async, [player = mPlayer, session = mContext.session()] {
        const host::SessionScope scope(session);
        return player->start();
    });
    return std::nullopt;
}

void PlayRun::waitForEnd() {
    while (!isOver()) {
        if (const auto event = queue().pop(deadlineUs())) handle(*event);
        updateStatus();
        watch();
    }
}

bool PlayRun::isOver() const {
    if (mClosed || mCancelled || mFailure || !mKeys.empty()) return true;
    if (mWork.endsWithPicture && hasShown()) return true;
    return mEndUs != 0 && nowUs() >= mEndUs;
}

int64_t PlayRun::deadlineUs() const {
    const int64_t tickUs = nowUs() + (mWork.endsWithPicture ? kPictureTickUs : kTickUs);
    return mEndUs == 0 ? tickUs : std::min(tickUs, mEndUs);
}

void PlayRun::finish() {
    if (mStalled) {
        abandonPlayer();
        // Whoever destroys it would wait for a start that hangs.
        if (mStarted.valid()) new std::future<status_t>(std::move(mStarted));
        return;
    }
    // Who moves to another place does not wait for the sound of this one.
    mWork.volume.setPlaysOut(mKeys.empty());
    mPlayer->stop();
    if (mStarted.valid()) mStarted.get();
    updateStatus();
    mPlayer->cleanup();
}

void PlayRun::handle(const JobEvent& event) {
    if (std::holds_alternative<Cancelled>(event)) {
        mCancelled = true;
    } else if (std::holds_alternative<Closed>(event)) {
        mClosed = true;
    } else if (const auto* pressed = std::get_if<Pressed>(&event)) {
        press(pressed->key);
    } else if (std::holds_alternative<EndOfStream>(event)) {
        // It may still be on its way when the user has ended the playback.
        if (mEndUs != 0 || mPlayer == nullptr) return;
        if (!mWork.endsWithPicture) listener().onSourceEnd();
        updateStatus();
        mEndUs = nowUs() + lastPictureLeftUs();
    } else if (const auto* rate = std::get_if<FrameRate>(&event)) {
        mFramesPerSecond = rate->framesPerSecond;
        listener().onFrameRate(rate->encoder, rate->framesPerSecond);
    } else if (const auto* fault = std::get_if<host::Fault>(&event)) {
        // What is written is a file of sound or of pictures.
        handleFileFault(*fault, mWork.input.path(), fault->object);
    }
}

void PlayRun::press(PlayKey key) {
    if (key == PlayKey::kQuit) {
        mClosed = true;
    } else if (key == PlayKey::kFullScreen) {
        mWork.outputs.display().toggleFullScreen();
    } else if (!mWork.volume.press(key)) {
        mKeys.push_back(key);
    }
}

// How long the last picture is still to be seen. A file that was cut off says more than it has, so
// with several pictures it is two of their intervals at most.
int64_t PlayRun::lastPictureLeftUs() const {
    if (mWork.freeRun || !mWork.tracks.video || mProgress.startTimeUs == 0) return 0;
    const int64_t endUs =
            mProgress.startTimeUs - mWork.offsetUs + mWork.tracks.video->durationUs.value_or(0);
    int64_t longestUs = kLongestStillUs;
    if (mProgress.shownFrames > 1) {
        longestUs = 2 * mProgress.videoTimeUs / (mProgress.shownFrames - 1);
    }
    return std::clamp<int64_t>(endUs - nowUs(), 0, longestUs);
}

void PlayRun::updateStatus() {
    const android::_PLAYBACK_PROGRESS former = mProgress;
    mPlayer->getPlaybackProgress(&mProgress);
    if (mProgress.videoTimeUs != former.videoTimeUs || mProgress.audioTimeUs != former.audioTimeUs)
        mMovedUs = nowUs();
    mPositionUs = positionUs();
    listener().onProgress(progress());
}

int64_t PlayRun::positionUs() const {
    if (mProgress.startTimeUs == 0) return 0;
    if (mWork.freeRun) {
        return std::max<int64_t>({0, mProgress.videoTimeUs, mProgress.audioTimeUs});
    }
    const int64_t positionUs = std::max<int64_t>(0, nowUs() - mProgress.startTimeUs);
    return mDurationUs > 0 ? std::min(positionUs, mDurationUs) : positionUs;
}

int64_t PlayRun::droppedFrames() const {
    const host::DisplayFigures figures = mWork.outputs.display().figures();
    return mProgress.droppedFrames + static_cast<int64_t>(figures.replaced);
}

Progress PlayRun::progress() const {
    Progress progress;
    progress.timeSec = (mWork.offsetUs + mPositionUs) / 1e6;
    progress.elapsedSec = (nowUs() - mBeginUs) / 1e6;
    progress.pictures = mWork.before.pictures + mProgress.shownFrames;
    progress.picturesPerSecond = mFramesPerSecond;
    progress.dropped = droppedFrames();
    const int64_t totalUs = mWork.offsetUs + mDurationUs;
    if (totalUs > 0) {
        progress.totalSec = totalUs / 1e6;
        progress.percent = std::min(100.0, 100.0 * (mWork.offsetUs + mPositionUs) / totalUs);
    }
    return progress;
}

int64_t PlayRun::shownUs() const {
    const int64_t shownUs = mWork.tracks.video ? mProgress.videoTimeUs : mPositionUs;
    return mWork.offsetUs + std::max<int64_t>(0, shownUs);
}

int64_t PlayRun::soundUs() const {
    return std::max<int64_t>(0, mProgress.audioTimeUs);
}

// A picture may last long, so only a playback that should be over, or never began, has stalled;
// and a file may be longer than it says.
void PlayRun::watch() {
    const int64_t beginUs = mProgress.startTimeUs != 0 ? mProgress.startTimeUs : mBeginUs;
    const int64_t lastUs = std::max(beginUs + mDurationUs, mMovedUs);
    if (mFailure || mEndUs != 0 || nowUs() < lastUs + stallSeconds() * 1'000'000) return;
    mStalled = true;
    fail(FailureKind::kStalled,
         "nothing was played for " + std::to_string(stallSeconds()) + " seconds");
}

}  // namespace oxa::jobs
