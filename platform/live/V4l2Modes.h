// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace android {

// One way to capture that a device of the kernel's offers.
struct V4l2Mode {
    uint32_t format = 0;  // V4L2_PIX_FMT_...
    int width = 0;
    int height = 0;
    std::vector<int> frameRates;  // rounded, each once, rising; empty: not told

    // 0: not known.
    int highestRate() const { return frameRates.empty() ? 0 : frameRates.back(); }
};

// Asks the device for its modes, those that can be decoded here. Empty when it cannot be opened or
// does not capture; `error` is the errno then.
std::vector<V4l2Mode> v4l2Modes(const std::string& path, int* error);

// The mode for this size (0 x 0: the largest) and rate (0: the highest): uncompressed if that
// reaches the rate, else compressed if that does, else the fastest. Null when there is no such
// size.
const V4l2Mode* chooseV4l2Mode(const std::vector<V4l2Mode>& modes, int width, int height, int rate);

// The name by which libavdevice knows the format; null for one that is not known.
const char* v4l2FormatName(uint32_t format);

struct V4l2Device {
    std::string path;
    std::string name;
    bool isReceiver = false;  // of a signal with timings of its own, such as HDMI
};

// Devices that capture pictures, in the order of their numbers: those in `root`/dev.
std::vector<V4l2Device> v4l2CaptureDevices(const std::string& root = {});

}  // namespace android
