// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>
#include <utils/Condition.h>
#include <utils/Errors.h>
#include <utils/Mutex.h>

namespace android {

// Tells when everything of a transcoding is with the muxer. Any thread.
class TranscodeDrain {
  public:
    // A transcoding of these streams begins.
    void begin(bool video, bool audio);
    // A transcoder has handed over its last sample; `item` as in "stop-item".
    void onStreamDone(int32_t item);
    // It ends otherwise: who waits gets `err`.
    void fail(status_t err);
    // OK when all streams are done; TIMED_OUT after `timeoutUs` microseconds; INVALID_OPERATION
    // before the first begin(); else what fail() was given.
    status_t wait(int64_t timeoutUs);

  private:
    Mutex mLock;
    Condition mCondition;
    bool mVideoLeft GUARDED_BY(mLock) = false;
    bool mAudioLeft GUARDED_BY(mLock) = false;
    status_t mError GUARDED_BY(mLock) = INVALID_OPERATION;
};

}  // namespace android
