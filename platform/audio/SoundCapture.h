// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "live/LiveReader.h"

namespace android {

// Takes what a SoundCapture gives, on the capture's thread. Must not wait long.
class SoundCaptureClient {
  public:
    virtual void onSound(LiveBlock block) = 0;
    // Nothing more comes: a file or graph is over (error 0, no text), or the source cannot be
    // opened or has failed. With a retry it may come again.
    virtual void onSoundEnd(int error, const std::string& text) = 0;

  protected:
    virtual ~SoundCaptureClient() = default;
};

// Captures sound on a thread of its own from construction to destruction, which does not wait for
// sound. Nothing is called any more when the destructor has returned.
class SoundCapture {
  public:
    // `reader` is open or null: then the thread opens it. `retryUs`: how long to wait before a
    // source that has failed is opened again; 0: it is not. Sound from before the construction is
    // not given. `client` must outlive this.
    SoundCapture(const LiveOptions& options, std::unique_ptr<LiveReader> reader, int64_t retryUs,
                 SoundCaptureClient* client);
    ~SoundCapture();

  private:
    void run();
    bool openReader();
    bool readAll();
    bool waitForRetry();

    const LiveOptions mOptions;
    const int64_t mRetryUs;
    SoundCaptureClient* const mClient;
    std::mutex mLock;
    std::condition_variable mWake;
    bool mQuit = false;                   // guarded by mLock
    std::unique_ptr<LiveReader> mReader;  // replaced by the thread, with mLock
    std::thread mThread;
};

}  // namespace android
