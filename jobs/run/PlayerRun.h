// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <OxaMediaCodecPlayer.h>

#include <optional>
#include <string>

#include "run/FaultRelay.h"
#include "run/FaultWarnings.h"
#include "run/IdleWatch.h"
#include "run/JobContext.h"
#include "run/PlayerEvents.h"

namespace oxa::jobs {

// One run of the player, from its first call to its last: what all kinds of jobs share. Everything
// happens on the caller's thread; what other threads have to say comes through the queue.
class PlayerRun {
  public:
    virtual ~PlayerRun() = default;
    PlayerRun(const PlayerRun&) = delete;
    PlayerRun& operator=(const PlayerRun&) = delete;

    // Returns when the run is over. Nothing unless something failed, else the first thing that did.
    std::optional<Failure> run();
    // How many damaged pieces of the input were skipped or repaired.
    uint64_t damaged() const { return mWarnings.damaged(); }
    // Whether a cancel has ended it.
    bool wasCancelled() const { return mCancelled; }

  protected:
    PlayerRun(int onlyTrack, JobContext& context);

    // The three parts of run(); waitForEnd() is left out when start() fails.
    virtual std::optional<Failure> start() = 0;
    virtual void waitForEnd() = 0;
    virtual void finish() = 0;
    virtual void handle(const JobEvent& event) = 0;
    virtual bool hearsSoundService() const { return false; }

    EventQueue& queue() const { return *mContext.queue(); }
    JobListener& listener() const { return mContext.listener(); }
    void handlePending();
    // A fault of a run that reads `input` and writes `output`.
    void handleFileFault(const host::Fault& fault, const std::string& input,
                         const std::string& output);
    // The first one counts.
    void fail(FailureKind kind, const std::string& text);
    // What hangs cannot be stopped either: the player is never deleted.
    void abandonPlayer();

    JobContext& mContext;
    android::sp<android::OxaMediaCodecPlayer> mPlayer;
    FaultWarnings mWarnings;
    std::optional<Failure> mFailure;
    bool mCancelled = false;
};

}  // namespace oxa::jobs
