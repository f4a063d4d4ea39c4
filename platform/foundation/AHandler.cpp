// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AHandler"

#include <media/stagefright/foundation/AHandler.h>

namespace android {

ALooper::handler_id AHandler::id() const {
    Mutex::Autolock lock(mLock);
    return mID;
}

sp<ALooper> AHandler::looper() const {
    return getLooper().promote();
}

wp<ALooper> AHandler::getLooper() const {
    Mutex::Autolock lock(mLock);
    return mLooper;
}

void AHandler::setID(ALooper::handler_id id, const wp<ALooper>& looper) {
    Mutex::Autolock lock(mLock);
    mID = id;
    mLooper = looper;
}

}  // namespace android
