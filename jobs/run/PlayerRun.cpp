// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "run/PlayerRun.h"

namespace oxa::jobs {

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
    if (const auto failure = failureBy(fault, input, output)) {
        fail(failure->kind, failure->text);
    } else {
        mWarnings.add(fault);
    }
}

void PlayerRun::fail(FailureKind kind, const std::string& text) {
    if (!mFailure) mFailure = Failure{kind, text};
}

void PlayerRun::abandonPlayer() {
    mPlayer->incStrong(this);
}

}  // namespace oxa::jobs
