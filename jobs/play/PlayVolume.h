// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/SoundOutput.h>

#include "oxa/jobs/Play.h"

namespace oxa::jobs {

// How loud a job plays: as its user asks for it, or not at all meanwhile.
class PlayVolume {
  public:
    // For tracks of the session that are made from now on.
    explicit PlayVolume(int percent);

    // False for a key that has nothing to do with it.
    bool press(PlayKey key);
    // Whether a playback that ends is heard to its last sample.
    void setPlaysOut(bool playsOut) { mKnob->setPlaysOut(playsOut); }

  private:
    void turn(int percent);

    const std::shared_ptr<host::SoundVolume> mKnob;
    int mPercent;
    bool mIsMute = false;
};

}  // namespace oxa::jobs
