// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>

#include "base/AnnotatedMutex.h"
#include "graphics/PictureQueue.h"

namespace android {

// One picture that a display has taken from its queue, with all that it needs to show it.
struct IntakePicture {
    sp<Picture> picture;
    int64_t timestampNs = 0;
    int64_t arrivalUs = 0;  // CLOCK_MONOTONIC
    PictureFormat format;
};

// The consumer end of a display's queue: takes each picture in the moment it is queued, in order.
// The picture keeps its place of the queue until the display releases it there.
class PictureIntake : public PictureQueue::ConsumerListener {
  public:
    using Handler = std::function<void(IntakePicture picture)>;

    // `handler` runs on a thread that uses the queue, often a codec's looper, one call at a time:
    // it must not wait. It may use the queue.
    PictureIntake(const sp<PictureQueue>& queue, Handler handler);

    void onPictureQueued() override;

    // The handler is not called any more when this returns. Not to be called by the handler.
    void close();

  private:
    void takeAll();

    const sp<PictureQueue> mQueue;
    const Handler mHandler;
    AnnotatedMutex mLock;
    AnnotatedCondition mIdle;
    bool mTaking GUARDED_BY(mLock) =
            false;  // by one thread at a time, so that pictures stay in order
    bool mAgain GUARDED_BY(mLock) = false;  // something was queued meanwhile
    bool mClosed GUARDED_BY(mLock) = false;
};

}  // namespace android
