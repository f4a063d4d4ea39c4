// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/Errors.h>
#include <utils/RefBase.h>

namespace android {

// The identity of an object that implements an interface. All objects live in this process: a
// binder is the object itself and is alive as long as somebody holds it.
class IBinder : public virtual RefBase {
  public:
    virtual bool isBinderAlive() const { return true; }
    virtual status_t pingBinder() { return OK; }

  protected:
    ~IBinder() override = default;
};

}  // namespace android
