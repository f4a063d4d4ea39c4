// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "ALooperRoster"

#include "foundation/LooperRoster.h"

#include <media/stagefright/foundation/ADebug.h>
#include <media/stagefright/foundation/AHandler.h>

#include <vector>

namespace android {

// Never destroyed: a looper thread may drop the last reference to a handler, which unregisters
// itself, while the process already runs its exit handlers.
ALooperRoster& gLooperRoster = *new ALooperRoster;

ALooper::handler_id ALooperRoster::registerHandler(const sp<ALooper>& looper,
                                                   const sp<AHandler>& handler) {
    Mutex::Autolock lock(mLock);
    if (handler->id() != 0) {
        CHECK(!"A handler must only be registered once.");
    }
    ALooper::handler_id id = mNextHandlerID++;
    mHandlers[id] = {wp<ALooper>(looper), wp<AHandler>(handler)};
    handler->setID(id, wp<ALooper>(looper));
    return id;
}

void ALooperRoster::unregisterHandler(ALooper::handler_id handlerID) {
    // Declared before the lock: if this is the last reference by now, the handler's destructor may
    // come back to the roster.
    sp<AHandler> handler;
    Mutex::Autolock lock(mLock);
    auto found = mHandlers.find(handlerID);
    if (found == mHandlers.end()) return;
    handler = found->second.handler.promote();
    if (handler != nullptr) handler->setID(0, nullptr);
    mHandlers.erase(found);
}

void ALooperRoster::unregisterStaleHandlers() {
    // Released after the lock, as above.
    std::vector<sp<ALooper>> living;
    Mutex::Autolock lock(mLock);
    for (auto entry = mHandlers.begin(); entry != mHandlers.end();) {
        sp<ALooper> looper = entry->second.looper.promote();
        if (looper == nullptr) {
            entry = mHandlers.erase(entry);
        } else {
            living.push_back(std::move(looper));
            ++entry;
        }
    }
}

}  // namespace android
