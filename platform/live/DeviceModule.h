// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <utility>
#include <vector>

namespace android {

// Capture devices, in a module.
struct DeviceModule {
    static constexpr char kModule[] = "devices";
    static constexpr char kName[] = "oxaDevices";

    // Makes them input formats of libavformat; harmless when repeated.
    void (*registerDevices)();
    // Names and descriptions of the sources of libavdevice's input `format` that are there.
    std::vector<std::pair<std::string, std::string>> (*listSources)(const char* format);
};

}  // namespace android
