// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace android {

// Capture devices.
struct DevicesModule {
    static constexpr char kName[] = "devices";

    // Makes them input formats of libavformat; harmless when repeated.
    void (*registerDevices)();
};

}  // namespace android
