// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <binder/IMemory.h>

#include <sys/mman.h>

namespace android {

void* IMemory::pointer() const {
    ssize_t offset = 0;
    sp<IMemoryHeap> heap = getMemory(&offset);
    void* base = heap == nullptr ? MAP_FAILED : heap->getBase();
    return base == MAP_FAILED ? nullptr : static_cast<char*>(base) + offset;
}

size_t IMemory::size() const {
    size_t size = 0;
    getMemory(nullptr, &size);
    return size;
}

ssize_t IMemory::offset() const {
    ssize_t offset = 0;
    getMemory(&offset);
    return offset;
}

}  // namespace android
