// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/RefBase.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "live/LevelMeter.h"
#include "live/LiveControl.h"

namespace android {

// One microphone that was registered.
struct Microphone : public RefBase {
    std::string source;
    bool repeat = false;
    const sp<LiveControl> control = new LiveControl;
    std::atomic<uint64_t> captured{0};
    std::atomic<uint64_t> dropped{0};
    LevelMeter level;
};

// The one that this audio source means now; never null. Thread-safe.
sp<Microphone> microphoneOf(int audioSource);

}  // namespace android
