// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "MediaAdapter"

#include <log/log.h>
#include <media/stagefright/MediaAdapter.h>
#include <media/stagefright/foundation/ADebug.h>

#include <utility>

namespace android {

MediaAdapter::MediaAdapter(const sp<MetaData>& meta) : mOutputFormat(meta) {}

MediaAdapter::~MediaAdapter() {
    Mutex::Autolock lock(mLock);
    CHECK(mBuffer == nullptr);
}

status_t MediaAdapter::start(MetaData* /*params*/) {
    Mutex::Autolock lock(mLock);
    mStarted = true;
    return OK;
}

status_t MediaAdapter::stop() {
    MediaBuffer* unread = nullptr;
    {
        Mutex::Autolock lock(mLock);
        mStarted = false;
        std::swap(unread, mBuffer);
    }
    mBufferPushed.broadcast();
    // Comes back through signalBufferReturned, which takes the lock.
    if (unread != nullptr) unread->release();
    return OK;
}

status_t MediaAdapter::read(MediaBufferBase** buffer, const ReadOptions* /*options*/) {
    Mutex::Autolock lock(mLock);
    while (mStarted && mBuffer == nullptr)
        mBufferPushed.wait(mLock);
    if (!mStarted) return ERROR_END_OF_STREAM;
    *buffer = std::exchange(mBuffer, nullptr);
    return OK;
}

void MediaAdapter::signalBufferReturned(MediaBufferBase* buffer) {
    CHECK(buffer != nullptr);
    buffer->setObserver(nullptr);
    buffer->release();
    // The pusher may drop the adapter as soon as it can go on.
    const sp<MediaAdapter> self = this;
    {
        Mutex::Autolock lock(mLock);
        ++mReturnedBuffers;
    }
    mBufferReturned.broadcast();
}

status_t MediaAdapter::pushBuffer(MediaBuffer* buffer) {
    if (buffer == nullptr) return -EINVAL;
    uint64_t returnedBefore;
    {
        Mutex::Autolock lock(mLock);
        if (!mStarted) {
            ALOGE("pushBuffer called before start");
            return INVALID_OPERATION;
        }
        returnedBefore = mReturnedBuffers;
        buffer->setObserver(this);
        mBuffer = buffer;
    }
    // Without the lock, which the reader takes first.
    mBufferPushed.signal();
    Mutex::Autolock lock(mLock);
    while (mReturnedBuffers == returnedBefore)
        mBufferReturned.wait(mLock);
    return OK;
}

}  // namespace android
