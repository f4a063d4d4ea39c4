// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "live/DeviceModule.h"

extern "C" {
#include <libavdevice/avdevice.h>
}

namespace android {

extern "C" const DeviceModule oxaDevices = {avdevice_register_all};

}  // namespace android
