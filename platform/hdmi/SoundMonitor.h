// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/AudioTrack.h>

#include "live/LiveReader.h"

namespace android {

// Lets captured sound be heard. Thread-bound.
class SoundMonitor {
  public:
    ~SoundMonitor() { close(); }

    // Opens the output with the first sound, and again when its format changes.
    void play(const LiveBlock& sound);
    // What was not heard yet is dropped.
    void close();

  private:
    void open(const LiveBlock& sound);

    sp<AudioTrack> mTrack;
    int mChannels = 0;
    int mSampleRate = 0;
};

}  // namespace android
