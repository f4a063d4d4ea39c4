// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "CameraOutput"

#include "camera/CameraOutput.h"

#include "graphics/LocalBufferProducer.h"

namespace android {

sp<CameraOutput> CameraOutput::connect(const sp<IGraphicBufferProducer>& target, status_t* status) {
    const sp<CameraOutput> output = new CameraOutput(LocalBufferProducer::queueOf(target));
    *status = output->mQueue->connect(output);
    if (*status != OK) return nullptr;
    AnnotatedLock lock(output->mLock);
    output->mConnected = true;
    return output;
}

void CameraOutput::disconnect() {
    {
        AnnotatedLock lock(mLock);
        mConnected = false;
    }
    mQueue->disconnect(this);
}

CameraOutput::Offer CameraOutput::offer(const sp<Picture>& picture, int64_t timestampNs,
                                        const PictureFormat& format) {
    AnnotatedLock lock(mLock);
    if (!mConnected) return Offer::kDisconnected;
    if (!mQueue->tryReserve()) return Offer::kDropped;
    mQueue->setFormat(format);
    mQueue->queue(picture, timestampNs);
    return Offer::kTaken;
}

void CameraOutput::finish() {
    mQueue->producerDrained();
}

}  // namespace android
