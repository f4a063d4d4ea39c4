// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "Sdl"

#include "modules/sdl/SdlLog.h"

#include <SDL.h>
#include <log/log.h>

namespace android {

void routeSdlLog() {
    SDL_LogSetOutputFunction(
            [](void*, int, SDL_LogPriority, const char* message) { ALOGD("%s", message); },
            nullptr);
}

}  // namespace android
