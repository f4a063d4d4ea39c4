// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "library/LogCapture.h"

#include <android/log.h>

#include <algorithm>
#include <mutex>

namespace android {

namespace {

std::mutex gLock;
std::vector<LogCapture::Line> gLines;  // guarded by gLock

void collect(const __android_logger_data* data, const char* message) {
    std::lock_guard<std::mutex> lock(gLock);
    gLines.push_back({data->priority, data->tag != nullptr ? data->tag : "", message});
}

}  // namespace

LogCapture::LogCapture() {
    {
        std::lock_guard<std::mutex> lock(gLock);
        gLines.clear();
    }
    __android_log_set_minimum_priority(ANDROID_LOG_DEBUG);
    __android_log_set_logger(collect);
}

LogCapture::~LogCapture() {
    __android_log_set_logger(__android_log_stderr_logger);
    __android_log_set_minimum_priority(ANDROID_LOG_DEFAULT);
}

std::vector<LogCapture::Line> LogCapture::lines() const {
    std::lock_guard<std::mutex> lock(gLock);
    return gLines;
}

int LogCapture::count(const std::string& tag, const std::string& text) const {
    std::lock_guard<std::mutex> lock(gLock);
    return std::count_if(gLines.begin(), gLines.end(), [&](const Line& line) {
        return line.tag == tag && line.text.find(text) != std::string::npos;
    });
}

}  // namespace android
