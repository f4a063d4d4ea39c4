// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>

namespace android {

// A looper for one handler, which runs while this object lives.
class OwnLooper {
  public:
    explicit OwnLooper(const sp<AHandler>& handler) : mHandler(handler) {
        mLooper->registerHandler(handler);
        mLooper->start();
    }
    ~OwnLooper() {
        mLooper->unregisterHandler(mHandler->id());
        mLooper->stop();
    }
    OwnLooper(const OwnLooper&) = delete;
    OwnLooper& operator=(const OwnLooper&) = delete;

  private:
    const sp<AHandler> mHandler;
    const sp<ALooper> mLooper = new ALooper;
};

}  // namespace android
