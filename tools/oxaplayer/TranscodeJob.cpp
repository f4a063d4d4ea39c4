// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "TranscodeJob.h"

#include <oxa/host/OutputEnd.h>
#include <oxa/host/OutputWait.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tracks/StatusText.h"

namespace oxaplayer {

using android::OK;
using android::status_t;

namespace {

constexpr int64_t kStopOutputWaitUs = 1'000'000;
constexpr double kFrameRateIntervalSec = 1;
constexpr int32_t kOutputDescriptor = 7;
constexpr int64_t kShortestSoundUs = 1'000'000;

int onlyTrack(const TranscodeJob::Work& work) {
    if (work.video == nullptr) return android::CODEC_AUDIO_ONLY;
    return work.audio != nullptr ? 0 : android::CODEC_VIDEO_ONLY;
}

int64_t durationUs(const Track* track) {
    return track != nullptr ? track->durationUs.value_or(0) : 0;
}

}  // namespace

TranscodeJob::TranscodeJob(const Work& work, std::shared_ptr<EventQueue> queue, Report* report)
    : Job(onlyTrack(work), std::move(queue), report),
      mWork(work),
      mMeter(nowUs(), std::max(durationUs(work.video), durationUs(work.audio))),
      mWritten{-1, -1, 0} {}

std::optional<Failure> TranscodeJob::start() {
    const auto check = [](status_t status, const char* step) -> std::optional<Failure> {
        if (status == OK) return std::nullopt;
        return Failure{FailureKind::kFailed, std::string(step) + ": " + statusText(status)};
    };
    android::_OxaTranscodeConfig config = {};
    config.type = kOutputDescriptor;
    config.fmt = mWork.container == Container::kMp4 ? 1 : 0;
    config.fileDesc = mWork.output.descriptor();

    auto failure = check(mPlayer->initiate(android::SourceTypeFile, false, true), "initiate");
    if (!failure) {
        failure = check(mPlayer->setDataSource(mWork.input.descriptor(), 0, mWork.input.size()),
                        "set the input");
    }
    if (!failure) failure = check(mPlayer->setMuxer(config), "set the output");
    if (!failure) {
        failure = check(mPlayer->setTargetFormat(mWork.targetFormat), "set the target format");
    }
    if (!failure) failure = check(mPlayer->setCalculateFPS(kFrameRateIntervalSec), "set reports");
    if (!failure) failure = check(mPlayer->prepare(), "prepare");
    if (!failure) failure = check(mPlayer->start(), "start");
    return failure;
}

void TranscodeJob::waitForEnd() {
    while (!mDrained && !mInterrupted && !mFailure) {
        if (mEnded) {
            drain();
            handlePending();
        } else if (const auto event = mQueue->pop(nowUs() + kTickUs)) {
            handle(*event);
        }
        updateProgress();
        watch();
    }
}

void TranscodeJob::finish() {
    // A reader of our pipe that does not read must not hold the end of a job that is given up.
    if (!mDrained) oxa::host::setOutputWaitLimit(kStopOutputWaitUs);
    oxa::host::takeOutputFigures();
    if (wasInterrupted()) oxa::host::setOutputEnd(oxa::host::OutputEnd::kTogether);
    if (mStalled) {
        abandonPlayer();
        return;
    }
    mPlayer->stop();
    updateProgress();
    mPlayer->cleanup();
    mSample.bytes = mWork.output.bytes();
    mOutputFigures = oxa::host::takeOutputFigures();
    if (mOutputFigures) mSample.frames = static_cast<int64_t>(mOutputFigures->pictures);
}

void TranscodeJob::drain() {
    const status_t status = mPlayer->drain(kTickUs);
    mDrained = status == OK;
    if (mDrained || status == android::TIMED_OUT) return;
    updateProgress();
    if (hasOutput()) {
        fail(FailureKind::kFailed, "the output could not be completed");
    } else {
        fail(FailureKind::kInput, "'" + mWork.input.path() + "' has nothing that can be decoded");
    }
}

void TranscodeJob::handle(const JobEvent& event) {
    if (std::holds_alternative<Interrupted>(event)) {
        mReport->note("interrupted, finishing the output (once more to end at once)");
        mInterrupted = true;
    } else if (std::holds_alternative<EndOfStream>(event)) {
        if (!mEnded) mReport->event("eos", Json::object());
        mEnded = true;
    } else if (const auto* rate = std::get_if<FrameRate>(&event)) {
        mIdleWatch.moved();
        mReport->event("fps", {{"side", rate->encoder ? "encoder" : "decoder"},
                               {"fps", rounded(rate->framesPerSecond, 100)}});
    } else if (const auto* fault = std::get_if<oxa::host::Fault>(&event)) {
        handleFileFault(*fault, mWork.input.path(), mWork.output.path());
    }
}

bool TranscodeJob::hasOutput() const {
    if (!wasInterrupted()) return mWritten.videoTimeUs >= 0 || mWritten.audioTimeUs >= 0;
    if (!mOutputFigures) return false;
    const int64_t soundUs = mOutputFigures->soundEndUs - mOutputFigures->soundStartUs;
    return mWork.video != nullptr ? mOutputFigures->pictures > 0 : soundUs >= kShortestSoundUs;
}

void TranscodeJob::updateProgress() {
    android::_TRANSCODE_PROGRESS written = mWritten;
    if (mPlayer->getTranscodeProgress(&written) != OK) return;
    if (written.videoFrames != mWritten.videoFrames ||
        written.audioTimeUs != mWritten.audioTimeUs) {
        mIdleWatch.moved();
    }
    mWritten = written;
    mSample.nowUs = nowUs();
    mSample.mediaTimeUs = completeTimeUs();
    mSample.frames = written.videoFrames;
    mSample.bytes = mWork.output.bytes();
    mReport->progress(mMeter.add(mSample), mSample.nowUs);
}

int64_t TranscodeJob::endUs() const {
    if (!mOutputFigures) return 0;
    return std::max(mOutputFigures->pictureEndUs, mOutputFigures->soundEndUs);
}

// How much of the source is done: sound and picture need not keep step, and may differ in length.
int64_t TranscodeJob::completeTimeUs() const {
    const int64_t videoUs = durationUs(mWork.video);
    const int64_t audioUs = durationUs(mWork.audio);
    if (videoUs > 0 && audioUs > 0) {
        const double share = std::min(static_cast<double>(mWritten.videoTimeUs) / videoUs,
                                      static_cast<double>(mWritten.audioTimeUs) / audioUs);
        return static_cast<int64_t>(std::max(share, 0.0) * std::max(videoUs, audioUs));
    }
    return std::max<int64_t>(0,
                             mWork.video != nullptr ? mWritten.videoTimeUs : mWritten.audioTimeUs);
}

void TranscodeJob::watch() {
    if (!mIdleWatch.isStalled() || mFailure) return;
    mStalled = true;
    fail(FailureKind::kFailed, "nothing was read or written for 30 seconds");
}

}  // namespace oxaplayer
