// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <deque>
#include <functional>
#include <thread>

#include "base/AnnotatedMutex.h"
#include "display/DisplayInput.h"

namespace android {

// A thread that works on pictures one after the other; the places of their queue bound how many
// wait.
class PictureWorker {
  public:
    using Handler = std::function<void(const IntakePicture& picture)>;

    // `handler` runs on the worker's thread.
    PictureWorker(const char* threadName, Handler handler);
    // See finish().
    ~PictureWorker();
    PictureWorker(const PictureWorker&) = delete;
    PictureWorker& operator=(const PictureWorker&) = delete;

    // Any thread; does not wait.
    void post(IntakePicture picture);
    // Waits until all that was posted is done, and ends the thread.
    void finish();

  private:
    void run();

    const Handler mHandler;
    AnnotatedMutex mLock;
    AnnotatedCondition mWake;
    std::deque<IntakePicture> mPictures GUARDED_BY(mLock);
    bool mFinishing GUARDED_BY(mLock) = false;
    std::thread mThread;
};

}  // namespace android
