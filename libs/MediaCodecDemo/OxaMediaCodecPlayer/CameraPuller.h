// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/MediaBuffer.h>
#include <media/stagefright/MediaSource.h>
#include <media/stagefright/MetaData.h>
#include <utils/Mutex.h>
#include <utils/Vector.h>

#include <atomic>

#include "CameraRecorder.h"

namespace android {

// Reads frames from a capture source on a looper of its own and queues them for the encoder, less
// those that the target rate has no room for.
class CameraRecorder::Puller : public AHandler {
  public:
    // Marks the last frame of a recording: int32 1 in the frame's metadata.
    enum { kKeyEOS = 0x00656F73 /* "eos" */ };

    // `thinnedFrames` counts the frames that the target rate has no room for; outlives the puller.
    Puller(const sp<MediaSource>& source, std::atomic<int64_t>* thinnedFrames);

    // Keeps one frame out of so many; before start(). Default 1.
    void setRecordInterval(int32_t interval) { mRecordInterval = interval; }

    // Starts the source and the reading. `notify` is posted for each frame, and with "eos" at the
    // end. The source's status.
    status_t start(const sp<MetaData>& meta, const sp<AMessage>& notify);
    // Drops what is queued; the next frame that is read is marked as the last one.
    void stop();
    // The same, and nobody takes a frame any more: the source waits for each that it gave.
    void abandon();
    // Stops the source once a read that is under way has returned.
    void stopSource();
    // Stops the source from this thread, which ends a read that is under way.
    void interruptSource();
    // Takes the oldest frame; the caller releases it. False when there is none.
    bool readBuffer(MediaBufferBase** buffer);

    // No frame comes any more: the last one was read, or the camera has given none for a second.
    bool isDry();
    // The read that is under way does not come back by itself.
    bool isStuck();

    void onMessageReceived(const sp<AMessage>& msg) override;

  protected:
    ~Puller() override;

  private:
    enum {
        kWhatPullerStart = 'msta',
        kWhatPullerStop = 'mstb',
        kWhatPull = 'mstc',
    };

    // All calls with the queue lock held.
    struct Queue {
        int64_t mReadPendingSince = 0;  // microseconds, 0: no read is under way
        bool mPulling = false;
        Vector<MediaBufferBase*> mReadBuffers;

        void pushBuffer(MediaBufferBase* buffer);
        bool readBuffer(MediaBufferBase** buffer);
        void flush();
    };

    status_t onStart(const sp<AMessage>& msg);
    void onStop();
    void onPull(const sp<AMessage>& msg);
    MediaBufferBase* readSource();
    void queueOrDrop(MediaBufferBase* buffer) REQUIRES(mQueueLock);
    void endPulling() REQUIRES(mQueueLock);
    bool isStuckLocked() const REQUIRES(mQueueLock);

    sp<MediaSource> mSource;
    std::atomic<int64_t>* const mThinnedFrames;
    sp<AMessage> mNotify;
    sp<ALooper> mLooper;
    std::atomic<bool> mSourceStopped;
    int32_t mRecordInterval;
    int32_t mFrameCount;
    Mutex mQueueLock;
    Queue mQueue GUARDED_BY(mQueueLock);
    bool mAbandoned GUARDED_BY(mQueueLock);
    bool mReadFollows GUARDED_BY(mQueueLock);  // a read is under way or has been asked for
};

}  // namespace android
