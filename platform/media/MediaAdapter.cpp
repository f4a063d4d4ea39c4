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
    std::lock_guard<std::mutex> lock(mLock);
    CHECK(mBuffer == nullptr);
}

status_t MediaAdapter::start(MetaData* /*params*/) {
    std::lock_guard<std::mutex> lock(mLock);
    mStarted = true;
    return OK;
}

status_t MediaAdapter::stop() {
    MediaBuffer* unread = nullptr;
    {
        std::lock_guard<std::mutex> lock(mLock);
        mStarted = false;
        std::swap(unread, mBuffer);
    }
    mBufferPushed.notify_all();
    // Comes back through signalBufferReturned, which takes the lock.
    if (unread != nullptr) unread->release();
    return OK;
}

status_t MediaAdapter::read(MediaBufferBase** buffer, const ReadOptions* /*options*/) {
    std::unique_lock<std::mutex> lock(mLock);
    mBufferPushed.wait(lock, [this] { return !mStarted || mBuffer != nullptr; });
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
        std::lock_guard<std::mutex> lock(mLock);
        ++mReturnedBuffers;
    }
    mBufferReturned.notify_all();
}

status_t MediaAdapter::pushBuffer(MediaBuffer* buffer) {
    if (buffer == nullptr) return -EINVAL;
    std::unique_lock<std::mutex> lock(mLock);
    if (!mStarted) {
        ALOGE("pushBuffer called before start");
        return INVALID_OPERATION;
    }
    const uint64_t returnedBefore = mReturnedBuffers;
    buffer->setObserver(this);
    mBuffer = buffer;
    // Without the lock, which the reader takes first.
    lock.unlock();
    mBufferPushed.notify_one();
    lock.lock();
    mBufferReturned.wait(lock, [&] { return mReturnedBuffers != returnedBefore; });
    return OK;
}

}  // namespace android
