// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AvLog"

#include "ffmpeg/AvLog.h"

#include <log/log.h>
#include <stdio.h>
#include <string.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/log.h>
}

namespace android {

namespace {

constexpr size_t kMaxLine = 1024;

// Null for an object that nobody listens to.
AvComplaints* listenerOf(void* object) {
    if (object == nullptr) return nullptr;
    const AVClass* const type = *static_cast<const AVClass* const*>(object);
    void* listener = nullptr;
    if (type == avformat_get_class()) {
        listener = static_cast<AVFormatContext*>(object)->opaque;
    } else if (type == avcodec_get_class()) {
        listener = static_cast<AVCodecContext*>(object)->opaque;
    }
    return static_cast<AvComplaints*>(listener);
}

__attribute__((format(printf, 2, 0))) void complain(AvComplaints* listener, const char* format,
                                                    va_list arguments) {
    char text[kMaxLine];
    va_list copy;
    va_copy(copy, arguments);
    vsnprintf(text, sizeof(text), format, copy);
    va_end(copy);
    text[strcspn(text, "\n")] = '\0';
    listener->add(text);
}

__attribute__((format(printf, 3, 0))) void printToLog(void* object, int level, const char* format,
                                                      va_list arguments) {
    if (level > av_log_get_level()) return;
    AvComplaints* const listener = level <= AV_LOG_ERROR ? listenerOf(object) : nullptr;
    if (listener != nullptr) complain(listener, format, arguments);
    char line[kMaxLine];
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

void AvComplaints::listenTo(AVFormatContext* context) {
    routeAvLog();
    context->opaque = this;
}

void AvComplaints::listenTo(AVCodecContext* context) {
    routeAvLog();
    context->opaque = this;
}

bool AvComplaints::takeNew() {
    AnnotatedLock lock(mLock);
    const bool hasNew = mHasNew;
    mHasNew = false;
    return hasNew;
}

std::string AvComplaints::first() const {
    AnnotatedLock lock(mLock);
    return mFirst;
}

void AvComplaints::add(const std::string& text) {
    AnnotatedLock lock(mLock);
    if (mFirst.empty()) mFirst = text;
    mHasNew = true;
}

}  // namespace android
