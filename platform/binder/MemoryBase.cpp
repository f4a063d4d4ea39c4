// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <binder/MemoryBase.h>

namespace android {

sp<IMemoryHeap> MemoryBase::getMemory(ssize_t* offset, size_t* size) const {
    if (offset != nullptr) *offset = mOffset;
    if (size != nullptr) *size = mSize;
    return mHeap;
}

}  // namespace android
