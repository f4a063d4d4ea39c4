// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "copy/CopyRun.h"

#include <oxa/host/OutputWait.h>

#include <algorithm>
#include <thread>
#include <utility>

#include "run/FaultRelay.h"

namespace oxa::jobs {

using Step = host::TrackCopy::Step;

namespace {

constexpr int64_t kStopOutputWaitUs = 1'000'000;
constexpr int64_t kShortestSoundUs = 1'000'000;

host::TrackCopy::Container containerOf(Container container) {
    return container == Container::kMp4 ? host::TrackCopy::Container::kMp4
                                        : host::TrackCopy::Container::kMpeg2Ts;
}

}  // namespace

CopyRun::CopyRun(Work work, JobContext& context)
    : mWork(std::move(work)),
      mContext(context),
      mWarnings([&context](const std::string& text) { context.listener().onWarning(text); }),
      mCopy(mWork.output.descriptor(), containerOf(mWork.container)),
      mMeter(nowUs(), mWork.durationUs) {}

std::optional<Failure> CopyRun::run() {
    const FaultRelay faults(mContext.session(), mContext.queue());
    std::thread copying([this] {
        const host::SessionScope scope(mContext.session());
        copyAll();
        mContext.queue()->push(EndOfStream{});
    });
    waitForEnd();
    copying.join();
    while (const auto event = mContext.queue()->pop(0))
        handle(*event);
    if (mCopyFailure) fail(*mCopyFailure);
    updateProgress();
    mWarnings.summarize();
    if (!mFailure && damaged() > 0) mContext.listener().onDamage(damaged());
    return mFailure;
}

void CopyRun::copyAll() {
    if (mWork.sound != nullptr) mCopy.setSound(std::move(mWork.sound));
    for (size_t number = 0; number < mWork.parts; ++number) {
        if (!copyPart(number)) return;
    }
    mIsComplete = !mStopped;
    mCopy.finish(mStopped ? host::OutputEnd::kTogether : host::OutputEnd::kAll);
}

// False when it fails.
bool CopyRun::copyPart(size_t number) {
    if (mStopped) return true;
    Part part;
    mCopyFailure = mWork.openPart(number, &part);
    if (mCopyFailure) return false;
    mPath = part.path;
    mHasPictures = part.input->hasPictures();
    mCopy.append(std::move(part.input), number + 1 == mWork.parts);
    Step step = Step::kCopied;
    while (step == Step::kCopied && !mStopped)
        step = mCopy.copyNext();
    if (step != Step::kFailed) return true;
    const std::string refusal = mCopy.refusal();
    if (!refusal.empty()) {
        mCopyFailure = Failure{FailureKind::kInput, "cannot copy '" + mPath + "': " + refusal};
    }
    return false;
}

void CopyRun::waitForEnd() {
    while (!mEnded) {
        if (const auto event = mContext.queue()->pop(nowUs() + kTickUs)) handle(*event);
        updateProgress();
        if (!mIdleWatch.isStalled() || mStopped) continue;
        fail({FailureKind::kStalled,
              "nothing was read or written for " + std::to_string(stallSeconds()) + " seconds"});
    }
}

void CopyRun::handle(const JobEvent& event) {
    if (std::holds_alternative<Cancelled>(event)) {
        mContext.listener().onCancelling();
        mCancelled = mStopped = true;
        // A reader of our pipe that does not read must not hold the end.
        host::setOutputWaitLimit(kStopOutputWaitUs);
    } else if (std::holds_alternative<EndOfStream>(event)) {
        mContext.listener().onSourceEnd();
        mEnded = true;
    } else if (const auto* fault = std::get_if<host::Fault>(&event)) {
        const auto failure = failureBy(*fault, fault->object, mWork.output.path());
        if (failure) {
            fail(*failure);
        } else {
            mWarnings.add(*fault);
        }
    }
}

void CopyRun::updateProgress() {
    const int64_t timeUs = mCopy.timeUs();
    if (timeUs != mSample.mediaTimeUs) mIdleWatch.moved();
    mSample.nowUs = nowUs();
    mSample.mediaTimeUs = timeUs;
    mSample.pictures = static_cast<int64_t>(mCopy.pictures());
    mSample.bytes = mWork.output.bytes();
    mContext.listener().onProgress(mMeter.add(mSample));
}

// The first failure counts, and ends the run.
void CopyRun::fail(const Failure& failure) {
    if (!mFailure) mFailure = failure;
    mStopped = true;
    host::setOutputWaitLimit(kStopOutputWaitUs);
}

bool CopyRun::hasOutput() const {
    const host::OutputFigures& written = mCopy.figures();
    if (!wasShortened()) return written.pictures > 0 || written.soundUnits > 0;
    return mHasPictures ? written.pictures > 0
                        : written.soundEndUs - written.soundStartUs >= kShortestSoundUs;
}

}  // namespace oxa::jobs
