// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "copy/CopyRun.h"

#include <oxa/host/OutputWait.h>

#include <algorithm>
#include <thread>
#include <utility>

#include "run/FaultRelay.h"

namespace oxa::jobs {

namespace {

constexpr int64_t kStopOutputWaitUs = 1'000'000;
constexpr int64_t kShortestSoundUs = 1'000'000;

}  // namespace

CopyRun::CopyRun(Work work, JobContext& context)
    : mOutput(work.output),
      mContext(context),
      mWarnings([&context](const std::string& text) { context.listener().onWarning(text); }),
      mTask(std::make_shared<CopyTask>(std::move(work.copy))),
      mMeter(nowUs(), work.durationUs) {}

std::optional<Failure> CopyRun::run() {
    const FaultRelay faults(mContext.session(), mContext.queue());
    std::thread copying([task = mTask, session = mContext.session(), queue = mContext.queue()] {
        const host::SessionScope scope(session);
        task->run();
        queue->push(EndOfStream{});
    });
    waitForEnd();
    if (!mEnded) {
        copying.detach();
        return mFailure;
    }
    copying.join();
    while (const auto event = mContext.queue()->pop(0))
        handle(*event);
    if (mTask->failure()) fail(*mTask->failure());
    updateProgress();
    mWarnings.summarize();
    if (!mFailure && damaged() > 0) mContext.listener().onDamage(damaged());
    return mFailure;
}

// One that waits for a reader of its output still ends by itself, one that hangs does not.
void CopyRun::waitForEnd() {
    std::optional<int64_t> latestUs;
    while (!mEnded && nowUs() < latestUs.value_or(INT64_MAX)) {
        if (const auto event = mContext.queue()->pop(nowUs() + kTickUs)) handle(*event);
        updateProgress();
        if (latestUs || !mIdleWatch.isStalled()) continue;
        latestUs = nowUs() + 2 * kStopOutputWaitUs;
        fail({FailureKind::kStalled,
              "nothing was read or written for " + std::to_string(stallSeconds()) + " seconds"});
    }
}

void CopyRun::handle(const JobEvent& event) {
    if (std::holds_alternative<Cancelled>(event)) {
        mContext.listener().onCancelling();
        mCancelled = true;
        mTask->stop();
        // A reader of our pipe that does not read must not hold the end.
        host::setOutputWaitLimit(kStopOutputWaitUs);
    } else if (std::holds_alternative<EndOfStream>(event)) {
        mContext.listener().onSourceEnd();
        mEnded = true;
    } else if (const auto* fault = std::get_if<host::Fault>(&event)) {
        const auto failure = failureBy(*fault, fault->object, mOutput.path());
        if (failure) {
            fail(*failure);
        } else {
            mWarnings.add(*fault);
        }
    }
}

void CopyRun::updateProgress() {
    const int64_t timeUs = mTask->timeUs();
    if (timeUs != mSample.mediaTimeUs) mIdleWatch.moved();
    mSample.nowUs = nowUs();
    mSample.mediaTimeUs = timeUs;
    mSample.pictures = static_cast<int64_t>(mTask->pictures());
    mSample.bytes = mOutput.bytes();
    mContext.listener().onProgress(mMeter.add(mSample));
}

// The first failure counts, and ends the run.
void CopyRun::fail(const Failure& failure) {
    if (!mFailure) mFailure = failure;
    mTask->stop();
    host::setOutputWaitLimit(kStopOutputWaitUs);
}

bool CopyRun::hasOutput() const {
    const host::OutputFigures& written = figures();
    if (!wasShortened()) return written.pictures > 0 || written.soundUnits > 0;
    return mTask->hasPictures() ? written.pictures > 0
                                : written.soundEndUs - written.soundStartUs >= kShortestSoundUs;
}

}  // namespace oxa::jobs
