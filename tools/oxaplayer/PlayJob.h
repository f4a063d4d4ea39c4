// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <OxaMediaCodecPlayer.h>

#include <future>
#include <memory>
#include <optional>

#include "EventQueue.h"
#include "ExitCode.h"
#include "FaultWarnings.h"
#include "InputFile.h"
#include "PlayOutputs.h"
#include "Report.h"
#include "TrackChoice.h"

namespace oxaplayer {

// One playback of a file, from the player's first call to its last. It runs on the caller's thread
// but for the player's start, which may wait for the first picture.
class PlayJob {
  public:
    struct Work {
        const InputFile& input;
        const TrackChoice& tracks;
        const PlayOutputs& outputs;
        bool freeRun;
        bool tunneled;
    };

    // `queue` receives the end of the playback and its faults; an Interrupted or Closed in it ends
    // the playback.
    PlayJob(const Work& work, std::shared_ptr<EventQueue> queue, Report* report);

    // Returns when the last picture has had its time and the last sound was heard, or when the user
    // has ended it. Nothing unless something failed.
    std::optional<Failure> run();

    bool wasInterrupted() const { return mInterrupted; }
    // Whether nothing moved any more: the player could not be stopped either.
    bool hasStalled() const { return mStalled; }
    // For the result event.
    Json summary() const;

  private:
    std::optional<Failure> prepare();
    void waitForEnd();
    int64_t deadlineUs() const;
    int64_t lastPictureLeftUs() const;
    void finish();
    void handlePending();
    void handle(const JobEvent& event);
    void handleFault(const oxa::host::Fault& fault);
    void updateStatus();
    int64_t positionUs() const;
    int64_t droppedFrames() const;
    void watch();
    void fail(ExitCode code, const std::string& text);

    Work mWork;
    const std::shared_ptr<EventQueue> mQueue;
    Report* const mReport;
    const int64_t mDurationUs;
    const int64_t mBeginUs;
    android::sp<android::OxaMediaCodecPlayer> mPlayer;
    std::future<android::status_t> mStarted;
    FaultWarnings mWarnings;
    android::_PLAYBACK_PROGRESS mProgress;
    int64_t mPositionUs = 0;
    double mFramesPerSecond = 0;
    int64_t mEndUs = 0;  // when the playback is over; 0: the streams have not ended
    bool mClosed = false;
    bool mInterrupted = false;
    bool mStalled = false;
    std::optional<Failure> mFailure;
};

}  // namespace oxaplayer
