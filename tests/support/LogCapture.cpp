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

template <typename Line>
void add(const Line& line, const char* text) {
    std::lock_guard<std::mutex> lock(gLock);
    gLines.emplace_back(line.tag != nullptr ? line.tag : "", text);
}

// The logger is called with a line and its text, later releases' with one structure.
template <typename Line>
void collect(const Line* line, const char* text) {
    add(*line, text);
    if (line->priority >= ANDROID_LOG_ERROR) __android_log_stderr_logger(line, text);
}

template <typename Line>
void collect(const Line* line) {
    add(*line, line->message);
    if (line->priority >= ANDROID_LOG_ERROR) __android_log_stderr_logger(line);
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
