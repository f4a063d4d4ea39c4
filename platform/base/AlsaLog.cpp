// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "Alsa"

#include "base/AlsaLog.h"

#include <log/log.h>

#include <cstdarg>
#include <cstdio>

namespace android {

namespace {

__attribute__((format(printf, 5, 6))) void logAlsaLine(const char* /*file*/, int /*line*/,
                                                       const char* function, int /*error*/,
                                                       const char* format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    ALOGD("%s: %s", function, text);
}

}  // namespace

void routeAlsaLog(void* handlerSetter) {
    using SetHandler = int (*)(decltype(&logAlsaLine));
    if (handlerSetter != nullptr) reinterpret_cast<SetHandler>(handlerSetter)(logAlsaLine);
}

}  // namespace android
