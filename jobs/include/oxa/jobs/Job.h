// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "oxa/jobs/EncodeOptions.h"
#include "oxa/jobs/LeftBehind.h"
#include "oxa/jobs/Progress.h"
#include "oxa/jobs/Result.h"
#include "oxa/jobs/Scenario.h"
#include "oxa/jobs/Track.h"

namespace oxa::jobs {

class JobContext;

// What a job works on, told once it has begun.
struct JobStart {
    std::vector<Track> tracks;                  // that are processed
    Container container = Container::kMpeg2Ts;  // of what is written, if any
    LeftBehind leftBehind = {};                 // what is not in it
    std::string preset = {};                    // of a recording's encoder of pictures
};

// Hears how a job goes. Every call comes from the thread that is in run(), one at a time, and the
// job waits meanwhile; cancel() may be called from it, run() and the destructor may not.
class JobListener {
  public:
    virtual ~JobListener() = default;

    virtual void onStart(const JobStart&) {}
    // Some five times a second.
    virtual void onProgress(const Progress&) {}
    // One line about something that does not end the job.
    virtual void onWarning(const std::string&) {}
    // About once a second: pictures out of the encoder, or samples into the decoder.
    virtual void onFrameRate(bool /*encoder*/, double /*framesPerSecond*/) {}
    // The source has come to its end; what is on its way is still written or shown.
    virtual void onSourceEnd() {}
    // A cancel was heard; the output is being completed.
    virtual void onCancelling() {}
    // A recording's file is whole and on the disk.
    virtual void onFile(const std::string& /*path*/) {}
    // The source of a recording is there again.
    virtual void onReconnect() {}
    // A recording was switched on or off.
    virtual void onSwitch(bool /*on*/) {}
    // The plug of the HDMI receiver.
    virtual void onHotplug(bool /*plugged*/) {}
    // A step of RecordOptions::scenario happens.
    virtual void onScenario(const ScenarioStep&) {}
    // At the end of a job that did not fail: how many pieces of the input were damaged.
    virtual void onDamage(uint64_t /*count*/) {}
};

// One piece of work, done once. Any number may run at the same time, each on a thread of its own:
// what they report and what they set (preset, end of the file, sound output) is kept apart.
class Job {
  public:
    // After run() has returned, or without it.
    virtual ~Job();
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    // Does all of it on the caller's thread and returns when it is over. Never ends the process
    // because of a file, a path or an option: that is a failure in the result. A second call
    // answers kOptions.
    Result run();

    // Asks the job to end soon; before run(), to end at once. Does not wait. Any thread, any
    // number of times, as long as the object lives. A file that is being written is completed as
    // far as it came (see Result::files), and so that picture and sound end together.
    void cancel();

  protected:
    explicit Job(JobListener* listener);  // may be null; stays the caller's, until run() returns

    virtual Result work(JobContext& context) = 0;

    JobContext& context() const { return *mContext; }

  private:
    const std::unique_ptr<JobContext> mContext;
};

}  // namespace oxa::jobs
