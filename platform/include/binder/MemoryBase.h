// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <binder/IMemory.h>
#include <media/stagefright/foundation/ABase.h>

namespace android {

// `size` bytes at `offset` of a heap, which it keeps alive.
class MemoryBase : public BnMemory {
  public:
    MemoryBase(const sp<IMemoryHeap>& heap, ssize_t offset, size_t size)
        : mHeap(heap), mOffset(offset), mSize(size) {}
    ~MemoryBase() override = default;

    sp<IMemoryHeap> getMemory(ssize_t* offset, size_t* size) const override;

  private:
    const sp<IMemoryHeap> mHeap;
    const ssize_t mOffset;
    const size_t mSize;

    DISALLOW_EVIL_CONSTRUCTORS(MemoryBase);
};

}  // namespace android
