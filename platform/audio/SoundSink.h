// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/Errors.h>

#include <cstddef>
#include <cstdint>

namespace android {

// Interleaved 16-bit sound.
struct SoundFormat {
    int sampleRate = 0;
    int channels = 0;
    uint32_t channelMask = 0;
};

inline int64_t framesToUs(int64_t frames, int sampleRate) {
    return frames * 1000000 / sampleRate;
}

// What a sink plays.
class SoundSource {
  public:
    // Writes all of `frames` frames, silence where there is nothing. The first one is heard at
    // `heardAtUs` (monotonic), which is the time of the call plus the sink's latency. Called on the
    // sink's thread; does not wait.
    virtual void fill(int16_t* samples, size_t frames, int64_t heardAtUs) = 0;

  protected:
    virtual ~SoundSource() = default;
};

// Where the sound of one track goes. It pulls blocks from its source on a thread of its own, at the
// pace at which they are heard. The track makes all calls, one at a time.
class SoundSink {
  public:
    virtual ~SoundSink() = default;

    // Once. `source` must outlive the sink.
    virtual status_t open(const SoundFormat& format, SoundSource* source) = 0;
    // Begins to pull. Harmless when it does already.
    virtual status_t start() = 0;
    // The source is not called any more when it returns. Harmless when stopped.
    virtual void stop() = 0;
    // From the pull of a frame to the moment it is heard; valid after open().
    virtual int64_t latencyUs() const = 0;
    // How much is pulled at a time; valid after open().
    virtual int64_t blockUs() const = 0;
};

}  // namespace android
