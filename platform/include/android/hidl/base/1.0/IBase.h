// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <utils/RefBase.h>

#include <functional>

namespace android::hidl::base::V1_0 {

// What all interfaces of services have in common.
struct IBase : public virtual RefBase {
    static const char* descriptor;

    // Whether calls leave the object's own side.
    virtual bool isRemote() const { return false; }

    // Gives the name of the interface, as "package@1.0::IName".
    using interfaceDescriptor_cb = std::function<void(const hardware::hidl_string& descriptor)>;
    virtual hardware::Return<void> interfaceDescriptor(interfaceDescriptor_cb _hidl_cb);

    // The same followed by those of its bases.
    using interfaceChain_cb =
            std::function<void(const hardware::hidl_vec<hardware::hidl_string>& descriptors)>;
    virtual hardware::Return<void> interfaceChain(interfaceChain_cb _hidl_cb);

    // Does nothing but reach the service.
    virtual hardware::Return<void> ping();

    // The recipient is told once when the service ends; the service keeps it until then. False when
    // the service has ended, or does not end by itself, as here.
    virtual hardware::Return<bool> linkToDeath(const sp<hardware::hidl_death_recipient>& recipient,
                                               uint64_t cookie);
    // False when it was not linked.
    virtual hardware::Return<bool> unlinkToDeath(
            const sp<hardware::hidl_death_recipient>& recipient);
};

}  // namespace android::hidl::base::V1_0
