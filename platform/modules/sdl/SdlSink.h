// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "audio/SoundSink.h"

namespace android {

// The system's default sound device.
class SdlSink : public SoundSink {
  public:
    SdlSink() = default;
    ~SdlSink() override;
    SdlSink(const SdlSink&) = delete;
    SdlSink& operator=(const SdlSink&) = delete;

    // Why no device can be opened, in one line; empty when one can.
    static std::string probe();

    status_t open(const SoundFormat& format, SoundSource* source) override;
    status_t start() override;
    void stop() override;
    int64_t latencyUs() const override { return mLatencyUs; }
    // While one block is heard the next one is pulled.
    int64_t blockUs() const override { return mLatencyUs; }

    // Why open() failed.
    const std::string& error() const { return mError; }

  private:
    // For each channel of the device the one of the source, or kSilent.
    using ChannelMap = std::vector<int>;
    static constexpr int kSilent = -1;

    static ChannelMap channelMap(int channels);
    static void onPull(void* sink, uint8_t* bytes, int size);

    void pull(int16_t* samples, size_t frames);

    SoundFormat mFormat;
    SoundSource* mSource = nullptr;
    ChannelMap mMap;                // empty: channels as they are
    std::vector<int16_t> mSamples;  // the device thread's, with mMap only
    bool mInitialised = false;      // the subsystem, by this sink
    uint32_t mDevice = 0;
    bool mRunning = false;
    int64_t mLatencyUs = 0;
    std::string mError;
};

}  // namespace android
