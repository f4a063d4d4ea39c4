// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <optional>

#include "Arguments.h"
#include "CaptureSource.h"
#include "Job.h"
#include "OutputFile.h"
#include "PlayOutputs.h"
#include "Progress.h"

namespace oxaplayer {

// One recording of a live source. It is over when the recording has ended and its output is closed
// by the player; of one that failed, what was recorded before is good.
class RecordJob : public Job {
  public:
    struct Work {
        const CaptureSource& source;
        const PlayOutputs& preview;
        OutputFile& output;
        Container container;
        android::_AV_FORMAT_FORMAT targetFormat;
        int32_t frameRate;                  // to be expected
        std::optional<int64_t> durationUs;  // not given: until source or user end it
        bool isPreviewed;
        bool isMonitored;
    };

    // An Interrupted or Closed in the queue ends the recording.
    RecordJob(const Work& work, std::shared_ptr<EventQueue> queue, Report* report);

    // Whether Ctrl-C or SIGTERM has ended it.
    bool wasInterrupted() const { return mInterrupted; }
    // Whether it is shorter than what was asked for.
    bool isShort() const;
    // Whether any sample has reached the output.
    bool hasOutput() const;
    ProgressNumbers numbers() const { return mMeter.overall(mSample); }
    // The time of the last sample that was written.
    int64_t lastTimeUs() const;
    // Pictures that were lost between the camera and the encoder.
    int64_t droppedFrames() const;

  private:
    std::optional<Failure> start() override;
    void waitForEnd() override;
    void finish() override;
    void handle(const JobEvent& event) override;
    int64_t waitUs() const;
    int64_t missingUs() const;
    void handleFault(const oxa::host::Fault& fault);
    void handleSoundFault(const oxa::host::Fault& fault);
    void updateStatus();
    double levelDb() const;
    void warnOfLostSound();

    Work mWork;
    ProgressMeter mMeter;
    ProgressSample mSample;
    android::_RECORDING_PROGRESS mRecorded;
    IdleWatch mIdleWatch;
    bool mEnded = false;     // by its source, its duration or its user
    bool mComplete = false;  // the duration was reached
};

}  // namespace oxaplayer
