// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <android/hidl/memory/1.0/IMemory.h>
#include <hidl/HidlSupport.h>
#include <utils/RefBase.h>

namespace android::hardware {

// Maps the memory for reading and writing. Null for empty memory, memory of a kind other than
// "ashmem", and when it cannot be mapped.
sp<hidl::memory::V1_0::IMemory> mapMemory(const hidl_memory& memory);

}  // namespace android::hardware
