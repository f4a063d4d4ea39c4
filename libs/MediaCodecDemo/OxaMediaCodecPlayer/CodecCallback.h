// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "FixedSites.h"
#include "OxaMediaCodecPlayerCommon.h"

namespace android {

// The one callback code of all codecs of all pipelines.
constexpr uint32_t kWhatCodecCallback = 5650;

// The items of a MediaCodec callback message; which ones are set depends on `id`.
struct CodecCallback {
    int32_t id = 0;  // MediaCodec::CB_...
    uint32_t index = 0;
    uint32_t offset = 0;
    uint32_t size = 0;
    int64_t timeUs = 0;
    int32_t flags = 0;
    int32_t err = OK;
    int32_t actionCode = 0;
    AString detail;
    sp<AMessage> format;
};

// The two relays read the same items and name themselves in assertions: `file` is the relay's
// source. Internal linkage, so that the log tag is the relay's too.
static inline void readCodecCallbackItems(const sp<AMessage>& msg, const char* file,
                                          CodecCallback* callback) {
    int32_t index, flags, err, actionCode;
    size_t offset, size;
    int64_t timeUs;
    AString detail;
    sp<AMessage> format;
    switch (callback->id) {
        case MediaCodec::CB_INPUT_AVAILABLE:
            CHECK_IN(file, sites::CodecCallback::kInputIndex, msg->findInt32("index", &index));
            callback->index = index;
            break;
        case MediaCodec::CB_OUTPUT_AVAILABLE:
            CHECK_IN(file, sites::CodecCallback::kOutputIndex, msg->findInt32("index", &index));
            CHECK_IN(file, sites::CodecCallback::kOutputOffset, msg->findSize("offset", &offset));
            CHECK_IN(file, sites::CodecCallback::kOutputSize, msg->findSize("size", &size));
            CHECK_IN(file, sites::CodecCallback::kOutputTime, msg->findInt64("timeUs", &timeUs));
            CHECK_IN(file, sites::CodecCallback::kOutputFlags, msg->findInt32("flags", &flags));
            callback->index = index;
            callback->offset = offset;
            callback->size = size;
            callback->timeUs = timeUs;
            callback->flags = flags;
            break;
        case MediaCodec::CB_ERROR:
            CHECK_IN(file, sites::CodecCallback::kErrorStatus, msg->findInt32("err", &err));
            CHECK_IN(file, sites::CodecCallback::kErrorAction,
                     msg->findInt32("actionCode", &actionCode));
            if (msg->contains("detail"))
                CHECK_IN(file, sites::CodecCallback::kErrorDetail,
                         msg->findString("detail", &detail));
            callback->err = err;
            callback->actionCode = actionCode;
            callback->detail = detail;
            break;
        case MediaCodec::CB_OUTPUT_FORMAT_CHANGED:
            CHECK_IN(file, sites::CodecCallback::kFormat, msg->findMessage("format", &format));
            callback->format = format;
            break;
    }
}

// False for a message that is none of the four callbacks: it is ignored. A callback without one of
// its items is a fatal assertion.
static inline bool unpackCodecCallback(const sp<AMessage>& msg, const char* file,
                                       CodecCallback* callback) {
    if (msg->what() != kWhatCodecCallback) return false;
    int32_t callbackID;
    CHECK_IN(file, sites::CodecCallback::kCallbackId, msg->findInt32("callbackID", &callbackID));
    if (callbackID < MediaCodec::CB_INPUT_AVAILABLE ||
        callbackID > MediaCodec::CB_OUTPUT_FORMAT_CHANGED) {
        return false;
    }
    callback->id = callbackID;
    readCodecCallbackItems(msg, file, callback);
    return true;
}

// Registers the relay on its looper and returns the message for MediaCodec::setCallback. The
// message is built last: it keeps the looper that the relay has then.
static inline sp<AMessage> registerCallbackRelay(const sp<ALooper>& looper,
                                                 const sp<AHandler>& relay) {
    looper->registerHandler(relay);
    return new AMessage(kWhatCodecCallback, relay);
}

// The same on a new looper, which it starts.
static inline sp<AMessage> attachCallbackRelay(const char* looperName, const sp<AHandler>& relay,
                                               sp<ALooper>* looper) {
    *looper = startLooper(looperName);
    return registerCallbackRelay(*looper, relay);
}

// Unregisters and drops the relay, then drops its looper, which ends the callback thread.
template <typename Relay>
void detachCallbackRelay(sp<Relay>* relay, sp<ALooper>* looper) {
    if (*looper != NULL && *relay != NULL) (*looper)->unregisterHandler((*relay)->id());
    relay->clear();
    looper->clear();
}

}  // namespace android
