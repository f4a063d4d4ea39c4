// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/FaultListener.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <variant>

#include "oxa/jobs/Play.h"
#include "oxa/jobs/Scenario.h"

namespace oxa::jobs {

// What can happen while a job runs.
struct Cancelled {};  // somebody wants the job to end
struct Closed {};     // the user has closed the window or pressed its quit key
struct Pressed {      // a key of the player
    PlayKey key;
};
struct Switched {};     // somebody wants a recording to go on or to pause
struct EndOfStream {};  // the player has reached the end
struct Hotplug {        // of the HDMI receiver
    bool plugged;
};
struct FrameRate {  // of the last interval
    bool encoder;   // pictures out of the encoder; otherwise samples into the decoder
    double framesPerSecond;
};
struct FileTrouble {  // with one of several outputs; one line
    std::string text;
};
using JobEvent = std::variant<Cancelled, Closed, Pressed, Switched, EndOfStream, Hotplug, FrameRate,
                              FileTrouble, ScenarioStep, host::Fault>;

// Where every thread puts what it has to tell the thread that runs a job. Thread-safe.
class EventQueue {
  public:
    void push(JobEvent event);
    // The oldest event; waits for one until `deadlineUs` (monotonic clock) and then answers
    // nothing.
    std::optional<JobEvent> pop(int64_t deadlineUs);

  private:
    android::Mutex mLock;
    android::Condition mFilled;
    std::deque<JobEvent> mEvents GUARDED_BY(mLock);
};

// Microseconds of the monotonic clock.
int64_t nowUs();

}  // namespace oxa::jobs
