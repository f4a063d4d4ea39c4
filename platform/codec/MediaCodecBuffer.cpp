// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <media/MediaCodecBuffer.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>

namespace android {

MediaCodecBuffer::MediaCodecBuffer(const sp<AMessage>& format, const sp<ABuffer>& buffer)
    : mMeta(new AMessage), mFormat(format), mBuffer(buffer) {}

MediaCodecBuffer::~MediaCodecBuffer() = default;

uint8_t* MediaCodecBuffer::base() {
    return mBuffer->base();
}

uint8_t* MediaCodecBuffer::data() {
    return mBuffer->data();
}

size_t MediaCodecBuffer::capacity() const {
    return mBuffer->capacity();
}

size_t MediaCodecBuffer::size() const {
    return mBuffer->size();
}

size_t MediaCodecBuffer::offset() const {
    return mBuffer->offset();
}

status_t MediaCodecBuffer::setRange(size_t offset, size_t size) {
    mBuffer->setRange(offset, size);
    return OK;
}

sp<AMessage> MediaCodecBuffer::meta() {
    return mMeta;
}

sp<AMessage> MediaCodecBuffer::format() {
    return mFormat;
}

}  // namespace android
