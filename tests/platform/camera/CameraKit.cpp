// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/camera/CameraKit.h"

#include "support/Deadline.h"

namespace oxa::test {

using namespace android;

void PictureTarget::onPictureQueued() {
    QueuedPicture queued;
    while (mQueue->tryAcquire(&queued)) {
        bool releasing;
        {
            std::lock_guard<std::mutex> lock(mLock);
            mPictures.push_back(queued);
            releasing = mReleasing;
        }
        mChanged.notify_all();
        if (releasing) mQueue->release();
    }
}

void PictureTarget::releaseAll() {
    size_t held;
    {
        std::lock_guard<std::mutex> lock(mLock);
        if (mReleasing) return;
        mReleasing = true;
        held = mPictures.size();
    }
    for (size_t i = 0; i < held; ++i)
        mQueue->release();
}

bool PictureTarget::waitForCount(size_t count) const {
    std::unique_lock<std::mutex> lock(mLock);
    return mChanged.wait_until(lock, Deadline().end(), [&] { return mPictures.size() >= count; });
}

size_t PictureTarget::count() const {
    std::lock_guard<std::mutex> lock(mLock);
    return mPictures.size();
}

std::vector<QueuedPicture> PictureTarget::pictures() const {
    std::lock_guard<std::mutex> lock(mLock);
    return mPictures;
}

bool waitForEnd(const FaultLog& log, int* error) {
    return waitFor([&] {
        for (const host::Fault& fault : log.faults()) {
            if (fault.source != host::FaultSource::kCamera || !fault.ended) continue;
            *error = fault.error;
            return true;
        }
        return false;
    });
}

}  // namespace oxa::test
