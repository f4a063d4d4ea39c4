// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PictureIntake"

#include "display/PictureIntake.h"

#include <utility>

#include "base/Monotonic.h"

namespace android {

PictureIntake::PictureIntake(const sp<PictureQueue>& queue, Handler handler)
    : mQueue(queue), mHandler(std::move(handler)) {}

void PictureIntake::onPictureQueued() {
    AnnotatedLock lock(mLock);
    mAgain = true;
    // Nobody waits here: who is taking already takes this picture, too. It may be this thread,
    // when a producer answers a free place with its next picture.
    if (mTaking) return;
    mTaking = true;
    while (mAgain && !mClosed) {
        mAgain = false;
        lock.unlock();
        takeAll();
        lock.lock();
    }
    mTaking = false;
    mIdle.notify_all();
}

void PictureIntake::takeAll() {
    QueuedPicture queued;
    while (mQueue->tryAcquire(&queued)) {
        IntakePicture taken;
        taken.picture = queued.picture;
        taken.timestampNs = queued.timestampNs;
        taken.arrivalUs = monotonicUs();
        taken.format = mQueue->format();
        mHandler(std::move(taken));
    }
}

void PictureIntake::close() {
    AnnotatedLock lock(mLock);
    mClosed = true;
    mIdle.wait(mLock, [this]() REQUIRES(mLock) { return !mTaking; });
}

}  // namespace android
