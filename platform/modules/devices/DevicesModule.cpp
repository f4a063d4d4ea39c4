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

std::vector<std::pair<std::string, std::string>> listSources(const char* format) {
    std::vector<std::pair<std::string, std::string>> sources;
    const AVInputFormat* const input = av_find_input_format(format);
    AVDeviceInfoList* list = nullptr;
    if (input == nullptr || avdevice_list_input_sources(input, nullptr, nullptr, &list) < 0) {
        return sources;
    }
    for (int i = 0; i < list->nb_devices; ++i) {
        const AVDeviceInfo& device = *list->devices[i];
        sources.emplace_back(device.device_name, device.device_description);
    }
    avdevice_free_list_devices(&list);
    return sources;
}

}  // namespace

extern "C" const DeviceModule oxaDevices = {registerDevices, listSources};

}  // namespace android
