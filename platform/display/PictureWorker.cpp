// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PictureWorker"

#include "display/PictureWorker.h"

#include <sys/prctl.h>

#include <utility>

#include "base/SessionState.h"

namespace android {

PictureWorker::PictureWorker(const char* threadName, Handler handler)
    : mHandler(std::move(handler)), mThread(oxa::host::inSession([this, threadName] {
          prctl(PR_SET_NAME, threadName);
          run();
      })) {}

PictureWorker::~PictureWorker() {
    finish();
}

void PictureWorker::post(IntakePicture picture) {
    AnnotatedLock lock(mLock);
    mPictures.push_back(std::move(picture));
    mWake.notify_one();
}

void PictureWorker::finish() {
    {
        AnnotatedLock lock(mLock);
        mFinishing = true;
        mWake.notify_one();
    }
    if (mThread.joinable()) mThread.join();
}

void PictureWorker::run() {
    AnnotatedLock lock(mLock);
    for (;;) {
        mWake.wait(mLock, [this]() REQUIRES(mLock) { return mFinishing || !mPictures.empty(); });
        if (mPictures.empty()) return;
        const IntakePicture picture = std::move(mPictures.front());
        mPictures.pop_front();
        lock.unlock();
        mHandler(picture);
        lock.lock();
    }
}

}  // namespace android
