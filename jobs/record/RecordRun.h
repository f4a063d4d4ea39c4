// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>

#include "oxa/jobs/EncodeOptions.h"
#include "oxa/jobs/ScenarioPlayer.h"
#include "play/PlayOutputs.h"
#include "record/CaptureSource.h"
#include "record/RecordFiles.h"
#include "run/PlayerRun.h"
#include "run/ProgressMeter.h"

namespace oxa::jobs {

// One recording of a live source. It is over when the recording has ended and its output is closed
// by the player; of one that failed, what was recorded before is good.
class RecordRun : public PlayerRun {
  public:
    // What was recorded before.
    struct Before {
        int64_t timeUs = 0;
        int64_t pictures = 0;
        int64_t thinned = 0;
    };
    struct Work {
        const CaptureSource& source;
        const PlayOutputs& preview;
        RecordFiles& output;
        ScenarioPlayer& scenario;
        ProgressMeter& meter;
        Container container;
        android::_AV_FORMAT_FORMAT targetFormat;
        int32_t frameRate;                  // to be expected
        std::optional<int64_t> durationUs;  // not given: until source or user end it
        bool isPreviewed;
        bool isMonitored;
        bool standsBy;        // begins switched off
        bool isHeld;          // is encoded all the time; `output` says what is wanted
        bool reconnects;      // a source that is lost is no failure
        std::string tooSlow;  // one line for when pictures are dropped
        Before before = {};
    };

    // A Cancelled or Closed in the queue ends the recording, a Switched switches it on or off.
    RecordRun(const Work& work, JobContext& context);

    // Whether it has ended because its source was lost, and nobody has ended it since; whether it
    // was switched on then.
    bool wasLost() const { return mIsLost; }
    bool wasOn() const { return mWasOn; }
    // Whether it is shorter than what was asked for.
    bool isShort() const;
    // Whether any sample has reached the output.
    bool hasOutput() const;
    Progress total() const;
    // How long what was recorded is, and its sound.
    int64_t recordedUs() const;
    int64_t soundUs() const;
    // Pictures that the frame rate had no room for.
    int64_t thinned() const { return mBefore.thinned + mRecorded.thinnedFrames; }

  private:
    std::optional<Failure> start() override;
    android::status_t setOutput();
    void waitForEnd() override;
    void finish() override;
    void handle(const JobEvent& event) override;
    bool hearsSoundService() const override { return mWork.source.isHdmi(); }
    // Pictures that were lost between the camera and the encoder.
    int64_t droppedFrames() const;
    void limitOutput() const;
    int64_t earlyUs() const;
    int64_t waitUs() const;
    int64_t missingUs() const;
    int64_t pictureUs() const { return 1'000'000 / mWork.frameRate; }
    void switchRecording();
    bool begin();
    int64_t lastTimeUs() const;
    int64_t pictures() const;
    void lose(const std::string& cause);
    void readProgress();
    void handleFault(const host::Fault& fault);
    void handleSoundFault(const host::Fault& fault);
    void updateStatus();
    double levelDb() const;
    void warnOfLostSound();

    Work mWork;
    ProgressSample mSample;
    android::_RECORDING_PROGRESS mRecorded;
    Before mBefore;  // the counts of the recordings before the one that runs, or ran last
    bool mIsOn;
    int64_t mOnSinceUs = 0;
    IdleWatch mIdleWatch;
    bool mEnded = false;     // by its source, its duration or its user
    bool mComplete = false;  // the duration was reached
    bool mIsLost = false;
    bool mWasOn = false;
};

}  // namespace oxa::jobs
