// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/MediaBufferBase.h>
#include <utils/RefBase.h>

namespace android {

// A user of a media buffer, for places that can hold an object only, such as a message.
struct MediaBufferHolder : public RefBase {
    // Null is allowed.
    MediaBufferHolder(MediaBufferBase* buffer) : mMediaBuffer(buffer) {
        if (mMediaBuffer != nullptr) mMediaBuffer->add_ref();
    }
    ~MediaBufferHolder() override {
        if (mMediaBuffer != nullptr) mMediaBuffer->release();
    }

    MediaBufferBase* mediaBuffer() { return mMediaBuffer; }

  private:
    MediaBufferBase* const mMediaBuffer;
};

}  // namespace android
