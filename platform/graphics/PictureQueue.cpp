// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PictureQueue"

#include "graphics/PictureQueue.h"

#include <cerrno>

namespace android {

status_t PictureQueue::connect(const sp<ProducerListener>& producer) {
    bool drain;
    {
        AnnotatedLock lock(mLock);
        if (mProducer != nullptr) return -EINVAL;
        mProducer = producer;
        mProducerDrained = false;
        drain = mEndSignalled;
    }
    if (drain) producer->onDrainRequested();
    return OK;
}

void PictureQueue::disconnect(const sp<ProducerListener>& producer) {
    sp<ConsumerListener> consumer;
    {
        AnnotatedLock lock(mLock);
        if (mProducer != producer) return;
        mProducer.clear();
        mReserved = 0;
        consumer = mConsumer;
    }
    tellQueued(consumer);
}

void PictureQueue::setFormat(const PictureFormat& format) {
    AnnotatedLock lock(mLock);
    mFormat = format;
}

bool PictureQueue::tryReserve() {
    AnnotatedLock lock(mLock);
    if (mReserved + mQueued.size() + mAcquired >= mPlaces) return false;
    ++mReserved;
    return true;
}

void PictureQueue::cancelReservation() {
    sp<ProducerListener> producer;
    sp<ConsumerListener> consumer;
    {
        AnnotatedLock lock(mLock);
        if (mReserved == 0) return;
        --mReserved;
        producer = mProducer;
        consumer = mConsumer;
    }
    tellFree(producer);
    tellQueued(consumer);  // it may have been the last thing before the end
}

void PictureQueue::queue(const sp<Picture>& picture, int64_t timestampNs) {
    sp<ProducerListener> producer;
    sp<ConsumerListener> consumer;
    {
        AnnotatedLock lock(mLock);
        if (mReserved == 0) return;
        --mReserved;
        if (mAbandoned) {
            producer = mProducer;
        } else {
            mQueued.push_back({picture, timestampNs});
            consumer = mConsumer;
        }
    }
    tellFree(producer);
    tellQueued(consumer);
}

void PictureQueue::producerDrained(int64_t endNs) {
    sp<ConsumerListener> consumer;
    {
        AnnotatedLock lock(mLock);
        mProducerDrained = true;
        mEndNs = endNs;
        consumer = mConsumer;
    }
    tellQueued(consumer);
}

int64_t PictureQueue::endNs() const {
    AnnotatedLock lock(mLock);
    return mEndNs;
}

void PictureQueue::setConsumer(const sp<ConsumerListener>& consumer) {
    AnnotatedLock lock(mLock);
    mConsumer = consumer;
}

void PictureQueue::setRequiredSize(int32_t width, int32_t height) {
    AnnotatedLock lock(mLock);
    mRequiredWidth = width;
    mRequiredHeight = height;
}

bool PictureQueue::tryAcquire(QueuedPicture* picture) {
    AnnotatedLock lock(mLock);
    if (mQueued.empty()) return false;
    *picture = mQueued.front();
    mQueued.pop_front();
    ++mAcquired;
    return true;
}

void PictureQueue::release() {
    sp<ProducerListener> producer;
    {
        AnnotatedLock lock(mLock);
        if (mAcquired == 0) return;
        --mAcquired;
        producer = mProducer;
    }
    tellFree(producer);
}

status_t PictureQueue::signalEnd() {
    sp<ProducerListener> producer;
    sp<ConsumerListener> consumer;
    {
        AnnotatedLock lock(mLock);
        if (mEndSignalled) return INVALID_OPERATION;
        mEndSignalled = true;
        producer = mProducer;
        consumer = mConsumer;
    }
    if (producer != nullptr) producer->onDrainRequested();
    tellQueued(consumer);
    return OK;
}

bool PictureQueue::atEnd() const {
    AnnotatedLock lock(mLock);
    return mEndSignalled && (mProducer == nullptr || mProducerDrained) && mReserved == 0 &&
           mQueued.empty();
}

void PictureQueue::abandon() {
    std::deque<QueuedPicture> dropped;  // freed without the lock
    sp<ProducerListener> producer;
    {
        AnnotatedLock lock(mLock);
        mAbandoned = true;
        mAcquired = 0;
        mConsumer.clear();
        dropped.swap(mQueued);
        producer = mProducer;
    }
    tellFree(producer);
}

PictureFormat PictureQueue::format() const {
    AnnotatedLock lock(mLock);
    return mFormat;
}

void PictureQueue::requiredSize(int32_t* width, int32_t* height) const {
    AnnotatedLock lock(mLock);
    *width = mRequiredWidth;
    *height = mRequiredHeight;
}

void PictureQueue::tellFree(const sp<ProducerListener>& producer) {
    if (producer != nullptr) producer->onPlaceFree();
}

void PictureQueue::tellQueued(const sp<ConsumerListener>& consumer) {
    if (consumer != nullptr) consumer->onPictureQueued();
}

}  // namespace android
