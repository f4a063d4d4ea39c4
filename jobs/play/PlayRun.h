// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <future>
#include <optional>
#include <vector>

#include "files/InputFile.h"
#include "play/PlayOutputs.h"
#include "play/PlayVolume.h"
#include "run/PlayerRun.h"
#include "tracks/TrackChoice.h"

namespace oxa::jobs {

// One playback of a file. It is over when the last picture has had its time and the last sound was
// heard, or when the user has ended it. The player's start, which may wait for the first picture,
// runs on a thread of its own.
// Of the tracks, the longest; 0 where none tells.
int64_t longestUs(const TrackChoice& tracks);

class PlayRun : public PlayerRun {
  public:
    struct Work {
        const InputFile& input;
        const TrackChoice& tracks;
        const PlayOutputs& outputs;
        bool freeRun;
        bool tunneled;
        PlayVolume& volume;
        // Of the part that the job plays: where this run begins, and what was done before.
        int64_t offsetUs = 0;
        Progress before = {};
        bool endsWithPicture = false;  // the first one
    };

    // A Cancelled or Closed in the queue ends the playback, and keys do that need another run.
    PlayRun(const Work& work, JobContext& context);

    // How far it came.
    Progress progress() const;
    int64_t soundUs() const;
    bool wasClosed() const { return mClosed; }
    // Of the picture that was shown last, or where the sound is, in the part that the job plays.
    int64_t shownUs() const;
    bool hasShown() const { return mProgress.shownFrames > 0; }
    // Those that were pressed and ask for another run, in their order.
    const std::vector<PlayKey>& keys() const { return mKeys; }

  private:
    std::optional<Failure> start() override;
    void waitForEnd() override;
    void finish() override;
    void handle(const JobEvent& event) override;
    int64_t deadlineUs() const;
    void press(PlayKey key);
    bool isOver() const;
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
    int64_t mMovedUs = 0;  // when pictures or sound went on last
    double mFramesPerSecond = 0;
    int64_t mEndUs = 0;  // when the playback is over; 0: the streams have not ended
    std::vector<PlayKey> mKeys;
    bool mClosed = false;
    bool mStalled = false;
};

}  // namespace oxa::jobs
