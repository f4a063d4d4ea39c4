// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/MediaCodecBuffer.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

namespace oxa::test {

// One callback of a codec, unpacked.
struct CodecEvent {
    int id = 0;  // MediaCodec::CB_...
    size_t index = 0;
    size_t size = 0;
    int64_t timeUs = 0;
    uint32_t flags = 0;
    android::status_t err = android::OK;
    android::sp<android::AMessage> format;
};

// A codec with its two loopers and a record of all its callbacks. Released with the object.
class CodecClient {
  public:
    using Handler = std::function<void(const CodecEvent&)>;
    using Events = std::vector<CodecEvent>;

    CodecClient(const char* mime, bool encoder);
    ~CodecClient();

    android::MediaCodec* operator->() const { return mCodec.get(); }

    // Called with each callback after it was recorded, on the callback looper's thread.
    void setHandler(Handler handler);
    android::status_t setCallback();
    // As pipelines do before they stop a codec: what is queued is not delivered any more.
    void stopCallbacks();
    void release();

    Events events() const;
    // Waits for `condition`; false when no callback came for a time that only a hang can need.
    bool waitFor(const std::function<bool(const Events&)>& condition) const;
    bool waitForCount(int id, size_t count) const;
    // For the output that is the end.
    bool waitForEnd() const;
    // A call on both loopers after which all that was posted before has been delivered.
    void settle();

    static Events ofKind(const Events& events, int id);
    static size_t countOf(const Events& events, int id);

  private:
    class Relay;

    void record(const android::sp<android::AMessage>& msg);

    android::sp<android::ALooper> mCodecLooper;
    android::sp<android::ALooper> mCallbackLooper;
    android::sp<android::MediaCodec> mCodec;
    android::sp<Relay> mRelay;
    bool mCallbacksRun = true;

    mutable std::mutex mLock;
    mutable std::condition_variable mChanged;
    Handler mHandler;  // guarded by mLock
    Events mEvents;    // guarded by mLock
};

}  // namespace oxa::test
