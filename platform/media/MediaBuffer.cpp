// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "MediaBuffer"

#include <binder/IMemory.h>
#include <media/stagefright/MediaBuffer.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/ADebug.h>
#include <stdlib.h>

namespace android {

MediaBufferBase* MediaBufferBase::Create(size_t size) {
    return new MediaBuffer(size);
}

MediaBuffer::MediaBuffer(void* data, size_t size) : mData(data), mSize(size), mRangeLength(size) {}

MediaBuffer::MediaBuffer(size_t size)
    : mOwnsData(true), mData(malloc(size)), mSize(size), mRangeLength(size) {
    CHECK(mData != nullptr || size == 0);
}

MediaBuffer::MediaBuffer(const sp<ABuffer>& buffer)
    : mKeeper(buffer), mData(buffer->data()), mSize(buffer->size()), mRangeLength(mSize) {}

MediaBuffer::MediaBuffer(const sp<IMemory>& mem)
    : mKeeper(mem), mData(mem->unsecurePointer()), mSize(mem->size()), mRangeLength(mSize) {}

MediaBuffer::~MediaBuffer() {
    CHECK(mObserver == nullptr);
    if (mOwnsData) free(mData);
}

void MediaBuffer::release() {
    if (mObserver == nullptr) {
        CHECK_EQ(refcount(), 0);
        delete this;
        return;
    }
    const int before = mRefCount.fetch_sub(1);
    CHECK_GT(before, 0);
    if (before == 1) mObserver->signalBufferReturned(this);
}

void MediaBuffer::add_ref() {
    ++mRefCount;
}

void MediaBuffer::set_range(size_t offset, size_t length) {
    CHECK_LE(offset, mSize);
    CHECK_LE(length, mSize - offset);
    mRangeOffset = offset;
    mRangeLength = length;
}

void MediaBuffer::reset() {
    mMetaData.clear();
    set_range(0, mSize);
}

void MediaBuffer::setObserver(MediaBufferObserver* observer) {
    CHECK(observer == nullptr || mObserver == nullptr);
    mObserver = observer;
}

}  // namespace android
