// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/AHandler.h>

namespace android {

// A handler that passes its messages on to a weakly held object, for classes that cannot derive
// from AHandler or must not be kept alive by a registered one. Messages for an object that is gone
// are dropped. T has `void onMessageReceived(const sp<AMessage>&)`.
template <class T>
struct AHandlerReflector : public AHandler {
    AHandlerReflector(T* target) : mTarget(target) {}

  protected:
    void onMessageReceived(const sp<AMessage>& msg) override {
        sp<T> target = mTarget.promote();
        if (target != nullptr) target->onMessageReceived(msg);
    }

  private:
    const wp<T> mTarget;

    DISALLOW_EVIL_CONSTRUCTORS(AHandlerReflector);
};

}  // namespace android
