// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <binder/IInterface.h>
#include <stdint.h>
#include <sys/types.h>
#include <utils/RefBase.h>

namespace android {

// A mapped file of shared memory.
class IMemoryHeap : public IInterface {
  public:
    enum { READ_ONLY = 0x00000001 };

    // The descriptor, owned by the heap; -1 when the heap could not be made.
    virtual int getHeapID() const = 0;
    // MAP_FAILED when it is not mapped.
    virtual void* getBase() const = 0;
    virtual size_t getSize() const = 0;
    virtual uint32_t getFlags() const = 0;
    // Where the mapping begins in the file.
    virtual off_t getOffset() const = 0;
};

// A part of a heap.
class IMemory : public IInterface {
  public:
    // The heap, and optionally the part's place in it, in bytes.
    virtual sp<IMemoryHeap> getMemory(ssize_t* offset = nullptr, size_t* size = nullptr) const = 0;

    // The first byte, valid while somebody holds this object; null when the heap is not mapped.
    // Unsecure: whoever else has mapped the heap can change the bytes at any time.
    void* unsecurePointer() const { return pointer(); }
    size_t size() const;
    ssize_t offset() const;

  private:
    void* pointer() const;
};

class BnMemoryHeap : public BnInterface<IMemoryHeap> {};
class BnMemory : public BnInterface<IMemory> {};

}  // namespace android
