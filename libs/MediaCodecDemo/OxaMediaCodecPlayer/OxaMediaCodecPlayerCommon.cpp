// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "OxaBase"

#include "OxaMediaCodecPlayerCommon.h"

#include <fcntl.h>
#include <stdio.h>

namespace android {

namespace {

AString& deviceRoot() {
    static AString root;
    return root;
}

}  // namespace

status_t postRequest(const sp<AMessage>& request, sp<AMessage>* response) {
    sp<AMessage> reply;
    status_t err = request->postAndAwaitResponse(&reply);
    if (err != OK) return err;
    if (response != nullptr) *response = reply;
    return reply->findInt32("err", &err) ? err : OK;
}

void logVideoTarget(const char* tag, const _AV_FORMAT_FORMAT& format) {
    ALOG(LOG_INFO, tag,
         LOG_GREEN
         "TargetFormat: Video:%dx%d/%dfps/%dbps/%dsec/deinterlace:%d/bitrateMode:%d/level:%d/"
         "profile:%d" LOG_RESET,
         format.width, format.height, format.frameRate, format.bitRate, format.iFrameInterval,
         format.deinterlace, format.bitrateMode, format.level, format.profile);
}

sp<AMessage> newRequest(uint32_t what, const sp<AHandler>& target, const char* key, int32_t value) {
    sp<AMessage> msg = new AMessage(what, target);
    msg->setInt32(key, value);
    return msg;
}

sp<AMessage> newRequest(uint32_t what, const sp<AHandler>& target, const char* key, double value) {
    sp<AMessage> msg = new AMessage(what, target);
    msg->setDouble(key, value);
    return msg;
}

sp<AMessage> newRequest(uint32_t what, const sp<AHandler>& target, const char* key,
                        const sp<RefBase>& value) {
    sp<AMessage> msg = new AMessage(what, target);
    msg->setObject(key, value);
    return msg;
}

sp<AMessage> newPointerRequest(uint32_t what, const sp<AHandler>& target, const char* key,
                               const void* value) {
    sp<AMessage> msg = new AMessage(what, target);
    msg->setPointer(key, const_cast<void*>(value));
    return msg;
}

sp<AMessage> newPathRequest(uint32_t what, const sp<AHandler>& target, const char* path) {
    sp<AMessage> msg = new AMessage(what, target);
    msg->setString(AMSG_PATH, path);
    return msg;
}

sp<AMessage> newFileRequest(uint32_t what, const sp<AHandler>& target, int fd, int64_t offset,
                            int64_t length) {
    sp<AMessage> msg = new AMessage(what, target);
    msg->setInt32(AMSG_FILE_ID, fd);
    msg->setInt64(AMSG_FILE_OFFSET, offset);
    msg->setInt64(AMSG_FILE_LENGTH, length);
    return msg;
}

void reply(const sp<AMessage>& msg, const sp<AMessage>& response) {
    sp<AReplyToken> replyID;
    CHECK_IN("libs/MediaCodecDemo/OxaMediaCodecPlayer/OxaMediaCodecPlayerCommon.h", __LINE__,
             msg->senderAwaitsResponse(&replyID));
    response->postReply(replyID);
}

void replyWithError(const sp<AMessage>& msg, status_t err) {
    sp<AMessage> response = new AMessage;
    response->setInt32("err", err);
    reply(msg, response);
}

int reopenDescriptor(int fd) {
    char path[64];
    snprintf(path, sizeof(path), "/proc/self/fd/%d", fd);
    int reopened = open(path, O_RDONLY | O_CLOEXEC | O_LARGEFILE);
    return reopened >= 0 ? reopened : fcntl(fd, F_DUPFD_CLOEXEC, 0);
}

void releaseCodec(sp<MediaCodec>& codec) {
    if (codec == NULL) return;
    codec->release();
    codec.clear();
}

status_t stopCodec(const sp<MediaCodec>& codec) {
    status_t err = codec->stop();
    return err == OK ? OK : codec->reset();
}

sp<ALooper> startLooper(const char* name) {
    sp<ALooper> looper = new ALooper;
    looper->setName(name);
    looper->start();
    return looper;
}

void setDeviceRoot(const char* root) {
    deviceRoot() = root;
}

AString devicePath(const char* path) {
    AString full(deviceRoot());
    full.append(path);
    return full;
}

OxaBase::OxaBase() {}

void OxaBase::cleanup() {
    mPlayerHandler.clear();
    mStatusHandler.clear();
    mReference.clear();
}

void OxaBase::handleError(int err, int what) {
    sp<AMessage> msg = new AMessage(kWhatError, mPlayerHandler);
    msg->setInt32("what", what);
    msg->setInt32("err", err);
    msg->post();
    // The facade passes the report by: a client with a handler of its own gets a copy.
    if (mStatusHandler == NULL || mStatusHandler == mPlayerHandler) return;
    sp<AMessage> copy = msg->dup();
    copy->setTarget(mStatusHandler);
    copy->post();
}

sp<AMessage> OxaBase::newReport(uint32_t what, const char* key, int32_t item) const {
    sp<AMessage> msg = new AMessage(what, mPlayerHandler);
    msg->setInt32(key, item);
    return msg;
}

void OxaBase::postReport(uint32_t what, const char* key, int32_t item) const {
    newReport(what, key, item)->post();
}

}  // namespace android
