// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <memory>
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

// Captures sound on a thread of its own from construction to destruction. Nothing is called any
// more when the destructor has returned. It does not wait for sound: a source that is stuck in the
// system (a sound server that gives nothing, a pipe without a writer) is left to its thread, which
// ends when the source comes back.
class SoundCapture {
  public:
    // `reader` is open or null: then the thread opens it. `retryUs`: how long to wait before a
    // source that has failed is opened again; 0: it is not. Sound from before the construction is
    // not given. `client` must outlive this.
    SoundCapture(const LiveOptions& options, std::unique_ptr<LiveReader> reader, int64_t retryUs,
                 SoundCaptureClient* client);
    ~SoundCapture();

  private:
    class Worker;

    const std::shared_ptr<Worker> mWorker;
    std::thread mThread;
};

}  // namespace android
