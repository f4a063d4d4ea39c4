// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <binder/IMemory.h>
#include <media/stagefright/foundation/ABase.h>

namespace android {

// A heap that is closed and unmapped with its last reference. Immutable after construction;
// failures show as getHeapID() == -1 and getBase() == MAP_FAILED.
class MemoryHeapBase : public BnMemoryHeap {
  public:
    enum {
        // A file is mapped for reading only; of new memory, all mappings but this heap's own.
        READ_ONLY = IMemoryHeap::READ_ONLY,
        // getBase() stays MAP_FAILED; others may map getHeapID().
        DONT_MAP_LOCALLY = 0x00000100,
    };

    // Maps a part of `fd`, which is duplicated and stays the caller's. Size 0: up to the file's
    // end.
    MemoryHeapBase(int fd, size_t size, uint32_t flags = 0, off_t offset = 0);
    // Opens and maps a file or device; size as above.
    explicit MemoryHeapBase(const char* device, size_t size = 0, uint32_t flags = 0);
    // New memory, filled with zeros and rounded up to whole pages. The name is for people.
    explicit MemoryHeapBase(size_t size, uint32_t flags = 0, const char* name = nullptr);
    ~MemoryHeapBase() override;

    int getHeapID() const override { return mFd; }
    void* getBase() const override { return mBase; }
    size_t getSize() const override { return mSize; }
    uint32_t getFlags() const override { return mFlags; }
    off_t getOffset() const override { return mOffset; }

  private:
    // Takes ownership of `fd`, which may be -1.
    void map(int fd, int protection, size_t size, off_t offset);

    int mFd = -1;
    void* mBase;
    size_t mSize = 0;
    off_t mOffset = 0;
    const uint32_t mFlags;

    DISALLOW_EVIL_CONSTRUCTORS(MemoryHeapBase);
};

}  // namespace android
