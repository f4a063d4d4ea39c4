// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "PlayJob.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "PlayerEvents.h"
#include "Progress.h"
#include "StatusText.h"

namespace oxaplayer {

using android::OK;
using android::status_t;

namespace {

constexpr int64_t kTickUs = 200'000;
constexpr int64_t kStallUs = 30'000'000;
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
    : mWork(work),
      mQueue(std::move(queue)),
      mReport(report),
      mDurationUs(longestUs(work.tracks)),
      mBeginUs(nowUs()),
      mWarnings([report](const std::string& text) { report->warning(text); }),
      mProgress{0, -1, -1, 0, 0} {}

std::optional<Failure> PlayJob::run() {
    const PlayerEvents events(mQueue);
    mPlayer = new android::OxaMediaCodecPlayer(true, onlyTrack(mWork.tracks));
    mPlayer->mStatusHandler = events.handler();
    mFailure = prepare();
    if (!mFailure) {
        mStarted = std::async(std::launch::async, [player = mPlayer] { return player->start(); });
        waitForEnd();
    }
    finish();
    handlePending();
    mWarnings.summarize();
    return mFailure;
}

std::optional<Failure> PlayJob::prepare() {
    status_t status = mPlayer->initiate(android::SourceTypeFile, true, false);
    if (status == OK) {
        status = mPlayer->setDataSource(mWork.input.descriptor(), 0, mWork.input.size());
    }
    if (status == OK && mWork.tunneled) status = mPlayer->setTunneledPlayback(true);
    if (status == OK) status = mPlayer->setSurface(mWork.outputs.display().producer());
    if (status == OK) status = mPlayer->setFreeRun(mWork.freeRun);
    if (status == OK) status = mPlayer->setCalculateFPS(kFrameRateIntervalSec);
    if (status == OK) status = mPlayer->prepare();
    if (status == OK) return std::nullopt;
    return Failure{ExitCode::kFailed, "prepare: " + statusText(status)};
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
        mPlayer->incStrong(this);  // what hangs cannot be stopped either
        return;
    }
    mPlayer->stop();
    if (mStarted.valid()) mStarted.get();
    updateStatus();
    mPlayer->cleanup();
    mPlayer.clear();
}

void PlayJob::handlePending() {
    while (const auto event = mQueue->pop(0)) {
        handle(*event);
    }
}

void PlayJob::handle(const JobEvent& event) {
    if (std::holds_alternative<Interrupted>(event)) {
        mInterrupted = true;
    } else if (std::holds_alternative<Closed>(event)) {
        mClosed = true;
    } else if (std::holds_alternative<EndOfStream>(event)) {
        if (mEndUs != 0) return;
        mReport->event("eos", Json::object());
        updateStatus();
        mEndUs = nowUs() + lastPictureLeftUs();
    } else if (const auto* rate = std::get_if<FrameRate>(&event)) {
        mFramesPerSecond = rate->framesPerSecond;
        mReport->event("fps", {{"fps", rounded(rate->framesPerSecond, 100)}});
    } else if (const auto* fault = std::get_if<oxa::host::Fault>(&event)) {
        handleFault(*fault);
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

void PlayJob::handleFault(const oxa::host::Fault& fault) {
    using oxa::host::FaultSource;
    // Data that makes no sense any more ends a file as well, but what came before it was played.
    const bool damaged = fault.source == FaultSource::kReader && fault.error == 0;
    if (!fault.ended || damaged) {
        mWarnings.add(fault);
    } else if (fault.source == FaultSource::kWriter) {
        fail(ExitCode::kOutput, "cannot write '" + fault.object + "': " + fault.cause);
    } else if (fault.source == FaultSource::kReader) {
        fail(ExitCode::kInput, "cannot read '" + mWork.input.path() + "': " + fault.cause);
    } else {
        fail(ExitCode::kFailed, fault.object + ": " + fault.cause);
    }
}

void PlayJob::fail(ExitCode code, const std::string& text) {
    if (!mFailure) mFailure = Failure{code, text};
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
            {"elapsed_s", rounded((nowUs() - mBeginUs) / 1e6, 1000)}};
}

// A picture may last long, so only a playback that should be over, or never began, has stalled.
void PlayJob::watch() {
    const int64_t beginUs = mProgress.startTimeUs != 0 ? mProgress.startTimeUs : mBeginUs;
    if (mFailure || mEndUs != 0 || nowUs() < beginUs + mDurationUs + kStallUs) return;
    mStalled = true;
    fail(ExitCode::kFailed, "nothing was played for 30 seconds");
}

}  // namespace oxaplayer
