// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/ABase.h>
#include <media/stagefright/foundation/ALooper.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>

#include <map>

namespace android {

// Which handler belongs to which looper, for the whole process. Thread-safe; keeps neither alive.
struct ALooperRoster {
    ALooperRoster() = default;

    // Returns the handler's new id: 1, 2, 3, ..., never used twice. Fatal when it has one already.
    ALooper::handler_id registerHandler(const sp<ALooper>& looper, const sp<AHandler>& handler);

    // Takes id and looper away from the handler, if it lives; harmless for an unknown id.
    void unregisterHandler(ALooper::handler_id handlerID);

    // Forgets the handlers whose looper is gone.
    void unregisterStaleHandlers();

  private:
    struct Entry {
        wp<ALooper> looper;
        wp<AHandler> handler;
    };

    Mutex mLock;
    std::map<ALooper::handler_id, Entry> mHandlers GUARDED_BY(mLock);
    ALooper::handler_id mNextHandlerID GUARDED_BY(mLock) = 1;

    DISALLOW_EVIL_CONSTRUCTORS(ALooperRoster);
};

}  // namespace android
