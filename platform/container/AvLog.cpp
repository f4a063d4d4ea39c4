// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AvLog"

#include "container/AvLog.h"

#include <log/log.h>
#include <string.h>

#include <mutex>

extern "C" {
#include <libavutil/log.h>
}

namespace android {

namespace {

void printToLog(void* object, int level, const char* format, va_list arguments) {
    if (level > av_log_get_level()) return;
    char line[1024];
    int printPrefix = 1;
    int length =
            av_log_format_line2(object, level, format, arguments, line, sizeof(line), &printPrefix);
    if (length < 0) return;
    char* const newline = strchr(line, '\n');
    if (newline != nullptr) *newline = '\0';
    LOG_PRI(ANDROID_LOG_VERBOSE, LOG_TAG, "%s", line);
}

}  // namespace

void routeAvLog() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_callback(printToLog); });
}

}  // namespace android
