// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <future>
#include <memory>
#include <optional>

#include "Job.h"
#include "PlayOutputs.h"
#include "TrackChoice.h"
#include "files/InputFile.h"

namespace oxaplayer {

// One playback of a file. It is over when the last picture has had its time and the last sound was
// heard, or when the user has ended it. The player's start, which may wait for the first picture,
// runs on a thread of its own.
class PlayJob : public Job {
  public:
    struct Work {
        const InputFile& input;
        const TrackChoice& tracks;
        const PlayOutputs& outputs;
        bool freeRun;
        bool tunneled;
    };

    // An Interrupted or Closed in the queue ends the playback.
    PlayJob(const Work& work, std::shared_ptr<EventQueue> queue, Report* report);

    bool wasInterrupted() const { return mInterrupted; }
    // Whether nothing moved any more: the player could not be stopped either.
    bool hasStalled() const { return mStalled; }
    // For the result event.
    Json summary() const;

  private:
    std::optional<Failure> start() override;
    void waitForEnd() override;
    void finish() override;
    void handle(const JobEvent& event) override;
    int64_t deadlineUs() const;
    int64_t lastPictureLeftUs() const;
    void updateStatus();
    int64_t positionUs() const;
    int64_t droppedFrames() const;
    void watch();

    Work mWork;
    const int64_t mDurationUs;
    const int64_t mBeginUs;
    std::future<android::status_t> mStarted;
    android::_PLAYBACK_PROGRESS mProgress;
    int64_t mPositionUs = 0;
    double mFramesPerSecond = 0;
    int64_t mEndUs = 0;  // when the playback is over; 0: the streams have not ended
    bool mClosed = false;
    bool mStalled = false;
};

}  // namespace oxaplayer
