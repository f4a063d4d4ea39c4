// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "PlayJob.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "Progress.h"
#include "tracks/StatusText.h"

namespace oxaplayer {

using android::OK;
using android::status_t;

namespace {

constexpr int64_t kLongestStillUs = 3'600'000'000;
constexpr double kFrameRateIntervalSec = 1;

int onlyTrack(const TrackChoice& tracks) {
    if (!tracks.video) return android::CODEC_AUDIO_ONLY;
    return tracks.audio ? 0 : android::CODEC_VIDEO_ONLY;
}

int64_t longestUs(const TrackChoice& tracks) {
    int64_t longest = 0;
    for (const auto& track : {tracks.video, tracks.audio}) {
        if (track) longest = std::max(longest, track->durationUs.value_or(0));
    }
    return longest;
}

}  // namespace

PlayJob::PlayJob(const Work& work, std::shared_ptr<EventQueue> queue, Report* report)
    : Job(onlyTrack(work.tracks), std::move(queue), report),
      mWork(work),
      mDurationUs(longestUs(work.tracks)),
      mBeginUs(nowUs()),
      mProgress{0, -1, -1, 0, 0} {}

std::optional<Failure> PlayJob::start() {
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
    mStarted = std::async(std::launch::async, [player = mPlayer] { return player->start(); });
    return std::nullopt;
}

void PlayJob::waitForEnd() {
    while (!mClosed && !mInterrupted && !mFailure && (mEndUs == 0 || nowUs() < mEndUs)) {
        if (const auto event = mQueue->pop(deadlineUs())) handle(*event);
        updateStatus();
        watch();
    }
}

int64_t PlayJob::deadlineUs() const {
    const int64_t tickUs = nowUs() + kTickUs;
    return mEndUs == 0 ? tickUs : std::min(tickUs, mEndUs);
}

void PlayJob::finish() {
    if (mStalled) {
        abandonPlayer();
        return;
    }
    mPlayer->stop();
    if (mStarted.valid()) mStarted.get();
    updateStatus();
    mPlayer->cleanup();
}

void PlayJob::handle(const JobEvent& event) {
    if (std::holds_alternative<Interrupted>(event)) {
        mInterrupted = true;
    } else if (std::holds_alternative<Closed>(event)) {
        mClosed = true;
    } else if (std::holds_alternative<EndOfStream>(event)) {
        // It may still be on its way when the user has ended the playback.
        if (mEndUs != 0 || mPlayer == nullptr) return;
        mReport->event("eos", Json::object());
        updateStatus();
        mEndUs = nowUs() + lastPictureLeftUs();
    } else if (const auto* rate = std::get_if<FrameRate>(&event)) {
        mFramesPerSecond = rate->framesPerSecond;
        mReport->event("fps", {{"fps", rounded(rate->framesPerSecond, 100)}});
    } else if (const auto* fault = std::get_if<oxa::host::Fault>(&event)) {
        // What is written is a file of sound or of pictures.
        handleFileFault(*fault, mWork.input.path(), fault->object);
    }
}

// How long the last picture is still to be seen. A file that was cut off says more than it has, so
// with several pictures it is two of their intervals at most.
int64_t PlayJob::lastPictureLeftUs() const {
    if (mWork.freeRun || !mWork.tracks.video || mProgress.startTimeUs == 0) return 0;
    const int64_t endUs = mProgress.startTimeUs + mWork.tracks.video->durationUs.value_or(0);
    int64_t longestUs = kLongestStillUs;
    if (mProgress.shownFrames > 1) {
        longestUs = 2 * mProgress.videoTimeUs / (mProgress.shownFrames - 1);
    }
    return std::clamp<int64_t>(endUs - nowUs(), 0, longestUs);
}

void PlayJob::updateStatus() {
    mPlayer->getPlaybackProgress(&mProgress);
    mPositionUs = positionUs();
    std::string line = formatClock(mPositionUs / 1e6);
    if (mDurationUs > 0) line += " / " + formatClock(mDurationUs / 1e6);
    if (mWork.tracks.video) {
        char text[64];
        snprintf(text, sizeof(text), "  %.2f fps  %lld dropped", mFramesPerSecond,
                 static_cast<long long>(droppedFrames()));
        line += text;
    }
    mReport->status(line,
                    {{"time_s", rounded(mPositionUs / 1e6, 1000)},
                     {"frames", mProgress.shownFrames},
                     {"fps", rounded(mFramesPerSecond, 100)},
                     {"dropped", droppedFrames()}},
                    nowUs());
}

int64_t PlayJob::positionUs() const {
    if (mProgress.startTimeUs == 0) return 0;
    if (mWork.freeRun) {
        return std::max<int64_t>({0, mProgress.videoTimeUs, mProgress.audioTimeUs});
    }
    const int64_t positionUs = std::max<int64_t>(0, nowUs() - mProgress.startTimeUs);
    return mDurationUs > 0 ? std::min(positionUs, mDurationUs) : positionUs;
}

int64_t PlayJob::droppedFrames() const {
    const oxa::host::DisplayFigures figures = mWork.outputs.display().figures();
    return mProgress.droppedFrames + static_cast<int64_t>(figures.replaced);
}

Json PlayJob::summary() const {
    return {{"duration_s", rounded(mPositionUs / 1e6, 1000)},
            {"frames", mProgress.shownFrames},
            {"dropped", droppedFrames()},
            {"damaged", damaged()},
            {"elapsed_s", rounded((nowUs() - mBeginUs) / 1e6, 1000)}};
}

// A picture may last long, so only a playback that should be over, or never began, has stalled.
void PlayJob::watch() {
    const int64_t beginUs = mProgress.startTimeUs != 0 ? mProgress.startTimeUs : mBeginUs;
    if (mFailure || mEndUs != 0 || nowUs() < beginUs + mDurationUs + kStallUs) return;
    mStalled = true;
    fail(FailureKind::kFailed, "nothing was played for 30 seconds");
}

}  // namespace oxaplayer
