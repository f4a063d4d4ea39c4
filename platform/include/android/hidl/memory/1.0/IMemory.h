// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>

#include <cstdint>

namespace android::hidl::memory::V1_0 {

// Shared memory that is mapped as long as somebody holds this object. What one side writes the
// other sees at once: the calls that announce reading and writing do nothing. Not to be confused
// with android::IMemory.
struct IMemory : public base::V1_0::IBase {
    static const char* descriptor;

    virtual ::android::hardware::Return<void> update() = 0;
    virtual ::android::hardware::Return<void> updateRange(uint64_t start, uint64_t length) = 0;
    virtual ::android::hardware::Return<void> read() = 0;
    virtual ::android::hardware::Return<void> readRange(uint64_t start, uint64_t length) = 0;
    virtual ::android::hardware::Return<void> commit() = 0;
    // The first byte.
    virtual ::android::hardware::Return<void*> getPointer() = 0;
    // In bytes.
    virtual ::android::hardware::Return<uint64_t> getSize() = 0;

    hardware::Return<void> interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) override;
};

}  // namespace android::hidl::memory::V1_0
