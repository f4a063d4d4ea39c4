// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "CameraOutput"

#include "camera/CameraOutput.h"

namespace android {

sp<CameraOutput> CameraOutput::connect(const sp<IGraphicBufferProducer>& target, status_t* status) {
    const sp<CameraOutput> output = new CameraOutput(target->pictureQueue());
    *status = output->mQueue->connect(output);
    return *status == OK ? output : nullptr;
}

void CameraOutput::disconnect() {
    mQueue->disconnect(this);
}

bool CameraOutput::offer(const sp<Picture>& picture, int64_t timestampNs,
                         const PictureFormat& format) {
    if (!mQueue->tryReserve()) return false;
    mQueue->setFormat(format);
    mQueue->queue(picture, timestampNs);
    return true;
}

void CameraOutput::finish() {
    mQueue->producerDrained();
}

}  // namespace android
