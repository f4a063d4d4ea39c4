// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/ABase.h>
#include <media/stagefright/foundation/ALooper.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>

namespace android {

struct AMessage;

// Receives messages, one at a time, on the thread of the looper that it is registered with.
// Nothing here keeps a handler alive: messages, looper and roster hold it weakly.
struct AHandler : public RefBase {
    AHandler() = default;

    // Thread-safe. 0 and null while the handler is not registered; looper() is also null when the
    // looper is gone.
    ALooper::handler_id id() const;
    sp<ALooper> looper() const;
    wp<ALooper> getLooper() const;

    wp<AHandler> getHandler() const { return const_cast<AHandler*>(this); }

  protected:
    // Called on the looper's thread; the handler is held for the time of the call. While it
    // blocks, the looper delivers nothing else and cannot be stopped by others.
    virtual void onMessageReceived(const sp<AMessage>& msg) = 0;

  private:
    friend struct AMessage;       // delivers
    friend struct ALooperRoster;  // sets id and looper

    void setID(ALooper::handler_id id, const wp<ALooper>& looper);
    void deliverMessage(const sp<AMessage>& msg) { onMessageReceived(msg); }

    mutable Mutex mLock;
    ALooper::handler_id mID GUARDED_BY(mLock) = 0;
    wp<ALooper> mLooper GUARDED_BY(mLock);

    DISALLOW_EVIL_CONSTRUCTORS(AHandler);
};

}  // namespace android
