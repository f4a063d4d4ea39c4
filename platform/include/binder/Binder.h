// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <binder/IBinder.h>

namespace android {

// An object of this process: a binder is the object itself and is alive as long as somebody holds
// it.
class BBinder : public IBinder {
  public:
    BBinder() = default;

    bool isBinderAlive() const override { return true; }
    status_t pingBinder() override { return OK; }
    status_t linkToDeath(const sp<DeathRecipient>& /*recipient*/, void* /*cookie*/ = nullptr,
                         uint32_t /*flags*/ = 0) override {
        return INVALID_OPERATION;
    }
    status_t unlinkToDeath(const wp<DeathRecipient>& /*recipient*/, void* /*cookie*/ = nullptr,
                           uint32_t /*flags*/ = 0,
                           wp<DeathRecipient>* /*outRecipient*/ = nullptr) override {
        return INVALID_OPERATION;
    }

  protected:
    ~BBinder() override = default;

  private:
    BBinder(const BBinder&) = delete;
    BBinder& operator=(const BBinder&) = delete;
};

}  // namespace android
