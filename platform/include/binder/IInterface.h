// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <binder/Binder.h>
#include <utils/RefBase.h>

namespace android {

// Base of everything that a service may hand out. RefBase is virtual: there is no static_cast from
// a RefBase* to an interface.
class IInterface : public virtual RefBase {
  public:
    // The identity behind the interface; null for null.
    static sp<IBinder> asBinder(const IInterface* interface) {
        return interface == nullptr ? nullptr : const_cast<IInterface*>(interface)->onAsBinder();
    }
    static sp<IBinder> asBinder(const sp<IInterface>& interface) {
        return asBinder(interface.get());
    }

  protected:
    ~IInterface() override = default;
    virtual IBinder* onAsBinder() = 0;
};

// Base of a class that implements INTERFACE.
template <typename INTERFACE>
class BnInterface : public INTERFACE, public BBinder {
  protected:
    IBinder* onAsBinder() override { return this; }
};

}  // namespace android
