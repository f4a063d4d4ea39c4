// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>

namespace android {

// The identity of an object that implements an interface.
class IBinder : public virtual RefBase {
  public:
    // Who hears that an object's process has died. Objects of this process do not die before it.
    class DeathRecipient : public virtual RefBase {
      public:
        virtual void binderDied(const wp<IBinder>& who) = 0;
    };

    virtual bool isBinderAlive() const = 0;
    virtual status_t pingBinder() = 0;

    // INVALID_OPERATION for an object of this process.
    virtual status_t linkToDeath(const sp<DeathRecipient>& recipient, void* cookie = nullptr,
                                 uint32_t flags = 0) = 0;
    virtual status_t unlinkToDeath(const wp<DeathRecipient>& recipient, void* cookie = nullptr,
                                   uint32_t flags = 0,
                                   wp<DeathRecipient>* outRecipient = nullptr) = 0;

  protected:
    ~IBinder() override = default;
};

}  // namespace android
