// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gui/IGraphicBufferProducer.h>

#include "graphics/PictureQueue.h"

namespace android {

// The producer end of a picture queue of this process.
class LocalBufferProducer : public BnInterface<IGraphicBufferProducer> {
  public:
    // `queue` must not be null.
    explicit LocalBufferProducer(const sp<PictureQueue>& queue) : mQueue(queue) {}

    // Where a producer's pictures go. Never null.
    static sp<PictureQueue> queueOf(const sp<IGraphicBufferProducer>& producer) {
        return producer->pictureQueue();
    }

  private:
    sp<PictureQueue> pictureQueue() const override { return mQueue; }

    const sp<PictureQueue> mQueue;
};

}  // namespace android
