// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/LogCapture.h"

#include <android/log.h>

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace android {

namespace {

std::mutex gLock;
std::vector<std::pair<std::string, std::string>> gLines;  // tag and text; guarded by gLock

void collect(const __android_logger_data* data, const char* message) {
    std::lock_guard<std::mutex> lock(gLock);
    gLines.emplace_back(data->tag != nullptr ? data->tag : "", message);
    if (data->priority >= ANDROID_LOG_ERROR) __android_log_stderr_logger(data, message);
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

int LogCapture::count(const std::string& tag, const std::string& text) const {
    std::lock_guard<std::mutex> lock(gLock);
    return std::count_if(gLines.begin(), gLines.end(), [&](const auto& line) {
        return line.first == tag && line.second.find(text) != std::string::npos;
    });
}

}  // namespace android
