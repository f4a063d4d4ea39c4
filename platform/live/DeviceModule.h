// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace android {

// Capture devices, in a module.
struct DeviceModule {
    static constexpr char kModule[] = "devices";
    static constexpr char kName[] = "oxaDevices";

    // Makes them input formats of libavformat; harmless when repeated.
    void (*registerDevices)();
};

}  // namespace android
