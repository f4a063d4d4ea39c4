// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "Job.h"

#include <algorithm>

namespace oxaplayer {

Job::Job(int onlyTrack, std::shared_ptr<EventQueue> queue, Report* report)
    : mQueue(std::move(queue)),
      mReport(report),
      mPlayer(new android::OxaMediaCodecPlayer(true, onlyTrack)),
      mWarnings([report](const std::string& text) { report->warning(text); }) {}

std::optional<Failure> Job::run() {
    const PlayerEvents events(mQueue);
    mPlayer->mStatusHandler = events.handler();
    mFailure = start();
    if (!mFailure) waitForEnd();
    finish();
    mPlayer.clear();
    // Closing an output may have failed, too.
    handlePending();
    mWarnings.summarize();
    // A job that failed has one line, and that says why.
    if (!mFailure && damaged() > 0) mReport->damage(damaged());
    return mFailure;
}

void Job::handlePending() {
    while (const auto event = mQueue->pop(0)) {
        handle(*event);
    }
}

void Job::handleFileFault(const oxa::host::Fault& fault, const std::string& input,
                          const std::string& output) {
    using oxa::host::FaultSource;
    const bool damaged = fault.source == FaultSource::kReader && fault.error == 0;
    if (!fault.ended || damaged) {
        mWarnings.add(fault);
    } else if (fault.source == FaultSource::kWriter) {
        fail(FailureKind::kOutput, "cannot write '" + output + "': " + fault.cause);
    } else if (fault.source == FaultSource::kReader) {
        fail(FailureKind::kInput, "cannot read '" + input + "': " + fault.cause);
    } else {
        fail(FailureKind::kFailed, fault.object + ": " + fault.cause);
    }
}

void Job::fail(FailureKind kind, const std::string& text) {
    if (!mFailure) mFailure = Failure{kind, text};
}

void Job::abandonPlayer() {
    mPlayer->incStrong(this);
}

bool IdleWatch::isStalled() {
    const int64_t now = nowUs();
    mIdleUs += std::min(now - mLastUs, 2 * kTickUs);
    mLastUs = now;
    return mIdleUs >= kStallUs;
}

}  // namespace oxaplayer
