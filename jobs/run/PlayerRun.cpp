// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "run/PlayerRun.h"

#include <algorithm>
#include <cstdlib>

namespace oxa::jobs {

namespace {

constexpr int64_t kStallSeconds = 30;

}  // namespace

PlayerRun::PlayerRun(int onlyTrack, JobContext& context)
    : mContext(context),
      mPlayer(new android::OxaMediaCodecPlayer(true, onlyTrack)),
      mWarnings([&context](const std::string& text) { context.listener().onWarning(text); }) {}

std::optional<Failure> PlayerRun::run() {
    const FaultRelay faults(mContext.session(), mContext.queue(), hearsSoundService());
    const PlayerEvents events(mContext.queue());
    mPlayer->mStatusHandler = events.handler();
    mFailure = start();
    if (!mFailure) waitForEnd();
    finish();
    mPlayer.clear();
    // Closing an output may have failed, too.
    handlePending();
    mWarnings.summarize();
    // A job that failed has one line, and that says why.
    if (!mFailure && damaged() > 0) listener().onDamage(damaged());
    return mFailure;
}

void PlayerRun::handlePending() {
    while (const auto event = queue().pop(0)) {
        handle(*event);
    }
}

void PlayerRun::handleFileFault(const host::Fault& fault, const std::string& input,
                                const std::string& output) {
    using host::FaultSource;
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

void PlayerRun::fail(FailureKind kind, const std::string& text) {
    if (!mFailure) mFailure = Failure{kind, text};
}

void PlayerRun::abandonPlayer() {
    mPlayer->incStrong(this);
}

bool IdleWatch::isStalled() {
    const int64_t now = nowUs();
    mIdleUs += std::min(now - mLastUs, 2 * kTickUs);
    mLastUs = now;
    return mIdleUs >= stallSeconds() * 1'000'000;
}

int64_t stallSeconds() {
    static const int64_t kSeconds = [] {
        const char* text = std::getenv("OXA_STALL_SECONDS");
        const int64_t seconds = text != nullptr ? std::atoll(text) : 0;
        return seconds > 0 ? std::min(seconds, kStallSeconds) : kStallSeconds;
    }();
    return kSeconds;
}

}  // namespace oxa::jobs
