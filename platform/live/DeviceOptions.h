// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "live/LiveReader.h"

namespace android {

// The settings with which libavdevice opens a device.
struct DeviceOptions {
    std::map<std::string, std::string> settings;
};

// What is wanted of a device, for its row of LiveScheme. 0 or a negative AVERROR: the device is not
// there, lacks the size, or has nothing of the kind.
int v4l2Options(const std::string& name, const LiveOptions& options, DeviceOptions* result);
int soundDeviceOptions(const std::string& name, const LiveOptions& options, DeviceOptions* result);

// When a frame was captured, on the monotonic clock. Drivers stamp on that clock, on the wall clock
// (`wallClockUs` ahead of it), on another, or not at all (AV_NOPTS_VALUE): then it is now.
int64_t monotonicTimeOf(int64_t stampUs, int64_t nowUs, int64_t wallClockUs);

}  // namespace android
