// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/MediaBuffer.h>
#include <media/stagefright/MediaSource.h>
#include <media/stagefright/foundation/ABase.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

namespace android {

// Turns buffers that are pushed into a source that is read: a single place, handed over to one
// reader. All calls may come from any thread.
struct MediaAdapter : public MediaSource, public MediaBufferObserver {
    // `meta` is what getFormat() answers.
    MediaAdapter(const sp<MetaData>& meta);

    ~MediaAdapter() override;

    // Always OK.
    status_t start(MetaData* params = nullptr) override;

    // Always OK. Ends a read; gives back a buffer that nobody has read.
    status_t stop() override;

    sp<MetaData> getFormat() override { return mOutputFormat; }

    // Waits for a buffer or for stop(). ERROR_END_OF_STREAM when stopped or not started.
    status_t read(MediaBufferBase** buffer, const ReadOptions* options = nullptr) override;

    // Called by the reader's last release() of a pushed buffer.
    void signalBufferReturned(MediaBufferBase* buffer) override;

    // Hands over a buffer together with the reference that the caller added, and waits until the
    // reader has released it, without a time-out: its memory may then be used again. The buffer is
    // left alone when the answer is -EINVAL (null) or INVALID_OPERATION (not started).
    status_t pushBuffer(MediaBuffer* buffer);

  private:
    DISALLOW_EVIL_CONSTRUCTORS(MediaAdapter);

    const sp<MetaData> mOutputFormat;
    Mutex mLock;
    Condition mBufferPushed;  // or stopped
    Condition mBufferReturned;
    bool mStarted GUARDED_BY(mLock) = false;
    MediaBuffer* mBuffer GUARDED_BY(mLock) = nullptr;
    uint64_t mReturnedBuffers GUARDED_BY(mLock) = 0;
};

}  // namespace android
