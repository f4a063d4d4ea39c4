// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>

#include <atomic>

namespace android {

// Where one recording of the camera recorder is between its start and its end, and what it has done
// so far; of the last one when there is none. Any thread.
//
//   NONE -begin-> RUNNING -claimEnd-> ENDING -finish-> NONE; RUNNING -fail-> FAILED -claimEnd->
class CameraRecording {
  public:
    // Before encoder and puller start: their callbacks come at once.
    void begin() {
        mCapturedTimeUs = -1;
        mThinnedFrames = 0;
        mLastOutputUs = 0;
        mState = kRunning;
    }
    // The encoder has failed: no end of the stream will come out of it.
    void fail() {
        int expected = kRunning;
        mState.compare_exchange_strong(expected, kFailed);
    }
    // True for the one who is to dismantle the recording.
    bool claimEnd() {
        int state = mState;
        while (state == kRunning || state == kFailed) {
            if (mState.compare_exchange_weak(state, kEnding)) return true;
        }
        return false;
    }
    void finish() { mState = kNone; }

    bool isOpen() const { return mState != kNone; }
    bool isEnding() const { return mState == kEnding; }
    bool hasFailed() const { return mState == kFailed; }

    std::atomic<int64_t> mCapturedTimeUs{-1};
    std::atomic<int64_t> mThinnedFrames{0};
    std::atomic<int64_t> mLastOutputUs{0};  // when the encoder last gave something

  private:
    enum State { kNone, kRunning, kFailed, kEnding };

    std::atomic<int> mState{kNone};
};

}  // namespace android
