// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>

#include <cstdint>
#include <functional>
#include <string>

namespace android::hidl::allocator::V1_0 {

// Makes shared memory. Thread-safe.
struct IAllocator : public base::V1_0::IBase {
    static const char* descriptor;

    // Calls back once, on the calling thread, before it returns. Memory of another size than 0 and
    // less than 2^31 is filled with zeros; it is the allocator's and closed after the call: a copy
    // stays. On failure `success` is false and the memory is empty.
    using allocate_cb =
            std::function<void(bool success, const ::android::hardware::hidl_memory& mem)>;
    virtual ::android::hardware::Return<void> allocate(uint64_t size, allocate_cb _hidl_cb) = 0;

    hardware::Return<void> interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) override;

    // The allocator "ashmem"; null for any other name, and with `getStub`, which asks for an
    // implementation that is loaded into the process.
    static sp<IAllocator> getService(const std::string& serviceName = "default",
                                     bool getStub = false);
    static sp<IAllocator> getService(const char serviceName[], bool getStub = false) {
        return getService(std::string(serviceName != nullptr ? serviceName : ""), getStub);
    }
    static sp<IAllocator> getService(const hardware::hidl_string& serviceName,
                                     bool getStub = false) {
        return getService(std::string(serviceName), getStub);
    }
    static sp<IAllocator> getService(bool getStub) { return getService("default", getStub); }
};

}  // namespace android::hidl::allocator::V1_0
