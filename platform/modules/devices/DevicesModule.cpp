// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "modules/devices/DevicesModule.h"

extern "C" {
#include <libavdevice/avdevice.h>
}

namespace android {

extern "C" const DevicesModule oxaModule = {avdevice_register_all};

}  // namespace android
