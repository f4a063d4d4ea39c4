// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "ABuffer"

#include <media/stagefright/foundation/ABuffer.h>

#include <media/stagefright/foundation/ADebug.h>
#include <media/stagefright/foundation/AMessage.h>
#include <stdlib.h>
#include <string.h>

namespace android {

ABuffer::ABuffer(size_t capacity)
    : mData(malloc(capacity)),
      mCapacity(mData != nullptr ? capacity : 0),
      mRangeLength(mCapacity),
      mOwnsData(true) {}

ABuffer::ABuffer(void* data, size_t capacity)
    : mData(data), mCapacity(capacity), mRangeLength(capacity), mOwnsData(false) {}

ABuffer::~ABuffer() {
    if (mOwnsData) free(mData);
}

// static
sp<ABuffer> ABuffer::CreateAsCopy(const void* data, size_t capacity) {
    sp<ABuffer> copy = new ABuffer(capacity);
    if (copy->base() == nullptr) return nullptr;
    if (capacity > 0) memcpy(copy->base(), data, capacity);
    return copy;
}

void ABuffer::setRange(size_t offset, size_t size) {
    CHECK_LE(offset, mCapacity);
    CHECK_LE(size, mCapacity - offset);
    mRangeOffset = offset;
    mRangeLength = size;
}

sp<AMessage> ABuffer::meta() {
    if (mMeta == nullptr) mMeta = new AMessage;
    return mMeta;
}

}  // namespace android
