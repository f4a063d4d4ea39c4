// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/Display.h>

#include <memory>
#include <optional>
#include <string>

#include "oxa/jobs/Play.h"
#include "run/JobContext.h"

namespace oxa::jobs {

// Where a playback is seen and heard. Without a screen or a sound device one warning says so, and
// the null outputs take their place.
class PlayOutputs {
  public:
    PlayOutputs();

    // Nothing when pictures can be shown; otherwise why not (kOutput). The job's queue is told when
    // the window's user wants to end. `title` names the window.
    std::optional<Failure> openDisplay(const DisplayChoice& choice, const std::string& title,
                                       JobContext& context);
    // The same for sound, for the job's session.
    std::optional<Failure> openSound(const SoundChoice& choice, JobContext& context);

    // Never null.
    host::Display& display() const { return *mDisplay; }

  private:
    std::unique_ptr<host::Display> mDisplay;
};

}  // namespace oxa::jobs
