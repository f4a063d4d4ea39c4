// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "oxa/jobs/Scenario.h"

namespace oxa::host {
class SimulatedHdmiReceiver;
}

namespace oxa::jobs {

// Lets a scenario happen to a simulated HDMI receiver, for programs that record with the player
// itself; Record does it for those that leave that to a job.
class ScenarioPlayer {
  public:
    // Called just before a step happens, on a thread of the player's; must not destroy it.
    using Listener = std::function<void(const ScenarioStep&)>;

    explicit ScenarioPlayer(Scenario scenario, Listener listener = nullptr);
    // What has not happened does not any more; nothing is called when it returns. The sound service
    // is there, as fast as before and with the client's channels.
    ~ScenarioPlayer();

    // Times count from now, the first time that it is called; later calls only resume(). `receiver`
    // must outlive this object. Does not block; one thread.
    void begin(host::SimulatedHdmiReceiver& receiver);
    // Between these nothing happens, and what is due meanwhile happens then. pause() waits for a
    // step that is happening, and both come from the thread of begin().
    void pause();
    void resume();

  private:
    class Run;

    const Scenario mScenario;
    const Listener mListener;
    std::mutex mHappening;  // each step
    std::unique_lock<std::mutex> mPause;
    std::unique_ptr<Run> mRun;
};

}  // namespace oxa::jobs
