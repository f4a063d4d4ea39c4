// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "live/LiveReader.h"

namespace android {

// How libavdevice is asked for a device.
struct DeviceOptions {
    std::string format;  // "v4l2", "alsa", "pulse"
    std::map<std::string, std::string> settings;
};

// What is wanted of a device, in libavdevice's words. 0 or a negative AVERROR: the device is not
// there, or lacks the size.
int deviceOptions(const LiveSource& source, const LiveOptions& options, DeviceOptions* result);

// When a frame was captured, on the monotonic clock. Drivers stamp on that clock, on the wall clock
// (`wallClockUs` ahead of it), on another, or not at all (AV_NOPTS_VALUE): then it is now.
int64_t monotonicTimeOf(int64_t stampUs, int64_t nowUs, int64_t wallClockUs);

}  // namespace android
