// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "transcode/TranscodeRun.h"

#include <oxa/host/OutputEnd.h>
#include <oxa/host/OutputWait.h>

#include <algorithm>

#include "tracks/MessageText.h"

namespace oxa::jobs {

using android::OK;
using android::status_t;

namespace {

constexpr int64_t kStopOutputWaitUs = 1'000'000;
constexpr double kFrameRateIntervalSec = 1;
constexpr int32_t kOutputDescriptor = 7;
constexpr int64_t kShortestSoundUs = 1'000'000;

int onlyTrack(const TranscodeRun::Work& work) {
    if (work.video == nullptr) return android::CODEC_AUDIO_ONLY;
    return work.audio != nullptr ? 0 : android::CODEC_VIDEO_ONLY;
}

int64_t durationUs(const Track* track) {
    return track != nullptr ? track->durationUs.value_or(0) : 0;
}

}  // namespace

TranscodeRun::TranscodeRun(const Work& work, JobContext& context)
    : PlayerRun(onlyTrack(work), context),
      mWork(work),
      mMeter(nowUs(), std::max(durationUs(work.video), durationUs(work.audio))),
      mWritten{-1, -1, 0} {}

std::optional<Failure> TranscodeRun::start() {
    host::setOutputOfFiles(true);
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

void TranscodeRun::waitForEnd() {
    while (!mDrained && !mCancelled && !mFailure) {
        if (mEnded) {
            drain();
            handlePending();
        } else if (const auto event = queue().pop(nowUs() + kTickUs)) {
            handle(*event);
        }
        updateProgress();
        watch();
    }
}

void TranscodeRun::finish() {
    // A reader of our pipe that does not read must not hold the end of a job that is given up.
    if (!mDrained) host::setOutputWaitLimit(kStopOutputWaitUs);
    host::takeOutputFigures();
    if (wasShortened()) host::setOutputEnd(host::OutputEnd::kTogether);
    if (mStalled) {
        abandonPlayer();
        return;
    }
    mPlayer->stop();
    updateProgress();
    mPlayer->cleanup();
    mSample.bytes = mWork.output.bytes();
    mOutputFigures = host::takeOutputFigures();
    if (mOutputFigures) mSample.pictures = static_cast<int64_t>(mOutputFigures->pictures);
}

void TranscodeRun::drain() {
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

void TranscodeRun::handle(const JobEvent& event) {
    if (std::holds_alternative<Cancelled>(event)) {
        listener().onCancelling();
        mCancelled = true;
    } else if (std::holds_alternative<EndOfStream>(event)) {
        if (!mEnded) listener().onSourceEnd();
        mEnded = true;
    } else if (const auto* rate = std::get_if<FrameRate>(&event)) {
        mIdleWatch.moved();
        listener().onFrameRate(rate->encoder, rate->framesPerSecond);
    } else if (const auto* fault = std::get_if<host::Fault>(&event)) {
        handleFileFault(*fault, mWork.input.path(), mWork.output.path());
        if (mWork.strict && damaged() > 0) {
            fail(FailureKind::kInput, "'" + mWork.input.path() + "' is damaged: " + fault->cause);
        }
    }
}

bool TranscodeRun::hasOutput() const {
    if (!wasShortened()) return mWritten.videoTimeUs >= 0 || mWritten.audioTimeUs >= 0;
    if (!mOutputFigures) return false;
    return mWork.video != nullptr ? mOutputFigures->pictures > 0 : soundUs() >= kShortestSoundUs;
}

void TranscodeRun::updateProgress() {
    android::_TRANSCODE_PROGRESS written = mWritten;
    if (mPlayer->getTranscodeProgress(&written) != OK) return;
    if (written.videoFrames != mWritten.videoFrames ||
        written.audioTimeUs != mWritten.audioTimeUs) {
        mIdleWatch.moved();
    }
    mWritten = written;
    mSample.nowUs = nowUs();
    mSample.mediaTimeUs = completeTimeUs();
    mSample.pictures = written.videoFrames;
    mSample.bytes = mWork.output.bytes();
    listener().onProgress(mMeter.add(mSample));
}

int64_t TranscodeRun::endUs() const {
    if (!mOutputFigures) return 0;
    return std::max(mOutputFigures->pictureEndUs, mOutputFigures->soundEndUs);
}

int64_t TranscodeRun::soundUs() const {
    return mOutputFigures ? mOutputFigures->soundEndUs - mOutputFigures->soundStartUs : 0;
}

// How much of the source is done: sound and picture need not keep step, and may differ in length.
int64_t TranscodeRun::completeTimeUs() const {
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

void TranscodeRun::watch() {
    if (!mIdleWatch.isStalled() || mFailure) return;
    mStalled = true;
    fail(FailureKind::kStalled,
         "nothing was read or written for " + std::to_string(stallSeconds()) + " seconds");
}

}  // namespace oxa::jobs
