// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <android/hidl/memory/1.0/IMemory.h>
#include <hidl/HidlSupport.h>
#include <vendor/oxa/audioutil/1.0/IAudioUtil.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <vector>

#include "support/Deadline.h"

namespace oxa::test {

// What the service has answered to one readRxAudio().
struct RxAnswer {
    int64_t timeUs = 0;
    int channels = 0;
    int sampleRate = 0;
    int32_t state = 0;
    std::vector<int16_t> samples;
};

// A client of the HDMI audio service that fetches blocks as the recorder does: through shared
// memory of 16 KiB, one every 15 ms.
class RxClient {
  public:
    // The service must be there.
    RxClient();
    // Ends rendering and recording.
    ~RxClient();

    const android::sp<vendor::oxa::audioutil::V1_0::IAudioUtil>& service() const {
        return mService;
    }

    void start(int channels = 2);
    void stop();
    // One poll. False when the service is dead; `answer` is untouched then.
    bool poll(RxAnswer* answer);

    // Polls until the condition holds or the service is dead; false when that takes too long.
    // Blocks are collected.
    bool pollUntil(const std::function<bool()>& condition,
                   std::chrono::milliseconds timeout = Deadline::kDefault);
    bool pollFrames(size_t frames);

    const std::vector<RxAnswer>& blocks() const { return mBlocks; }
    int32_t lastState() const { return mLastState; }
    void forget() { mBlocks.clear(); }
    // Of all blocks.
    size_t frames() const;
    std::vector<int16_t> samples() const;

  private:
    const android::sp<vendor::oxa::audioutil::V1_0::IAudioUtil> mService;
    android::hardware::hidl_memory mMemory;
    android::sp<android::hidl::memory::V1_0::IMemory> mMapping;
    const int16_t* mBase = nullptr;
    std::vector<RxAnswer> mBlocks;
    int32_t mLastState = 0;
};

}  // namespace oxa::test
