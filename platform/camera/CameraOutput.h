// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gui/IGraphicBufferProducer.h>
#include <utils/Errors.h>

#include "base/AnnotatedMutex.h"
#include "graphics/PictureQueue.h"

namespace android {

// A camera's end of a target: what finds no place is dropped, nobody waits. Thread-safe.
class CameraOutput : public PictureQueue::ProducerListener {
  public:
    enum class Offer { kTaken, kDropped, kDisconnected };

    // Null, with the status, when another producer has the target.
    static sp<CameraOutput> connect(const sp<IGraphicBufferProducer>& target, status_t* status);

    // The target is free for others, and gets nothing more when this returns.
    void disconnect();

    Offer offer(const sp<Picture>& picture, int64_t timestampNs, const PictureFormat& format);
    // Nothing more will be offered.
    void finish();

    void onPlaceFree() override {}
    // A camera ends with its source, not when it is asked.
    void onDrainRequested() override {}

  private:
    explicit CameraOutput(const sp<PictureQueue>& queue) : mQueue(queue) {}

    const sp<PictureQueue> mQueue;
    AnnotatedMutex mLock;  // held while a picture is handed over
    bool mConnected GUARDED_BY(mLock) = false;
};

}  // namespace android
