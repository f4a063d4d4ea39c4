// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <dlfcn.h>

#include "base/AlsaLog.h"
#include "live/DeviceModule.h"

extern "C" {
#include <libavdevice/avdevice.h>
}

namespace android {

namespace {

void registerDevices() {
    avdevice_register_all();
    routeAlsaLog(dlsym(RTLD_DEFAULT, kAlsaHandlerSetter));
}

}  // namespace

extern "C" const DeviceModule oxaDevices = {registerDevices};

}  // namespace android
