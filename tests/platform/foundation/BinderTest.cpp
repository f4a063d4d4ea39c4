// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <binder/IPCThreadState.h>
#include <binder/MemoryBase.h>
#include <binder/MemoryHeapBase.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include "support/Test.h"

namespace android {
namespace {

TEST(MemoryHeapBaseTest, SharesNewMemoryThroughItsDescriptor) {
    sp<MemoryHeapBase> heap = new MemoryHeapBase(size_t{10}, 0, "shared");
    ASSERT_NE(MAP_FAILED, heap->getBase());
    EXPECT_EQ(static_cast<size_t>(sysconf(_SC_PAGESIZE)), heap->getSize());
    sp<MemoryHeapBase> other = new MemoryHeapBase(heap->getHeapID(), 0);
    ASSERT_NE(MAP_FAILED, other->getBase());
    EXPECT_NE(heap->getHeapID(), other->getHeapID());
    EXPECT_EQ(heap->getSize(), other->getSize());
    strcpy(static_cast<char*>(heap->getBase()), "text");
    heap.clear();
    EXPECT_STREQ("text", static_cast<char*>(other->getBase()));
}

TEST(MemoryHeapBaseTest, LetsOnlyTheMakerWriteReadOnlyMemory) {
    sp<MemoryHeapBase> heap = new MemoryHeapBase(size_t{1}, MemoryHeapBase::READ_ONLY);
    ASSERT_NE(MAP_FAILED, heap->getBase());
    *static_cast<char*>(heap->getBase()) = 'x';
    sp<MemoryHeapBase> writer = new MemoryHeapBase(heap->getHeapID(), 0);
    EXPECT_EQ(MAP_FAILED, writer->getBase());
    sp<MemoryHeapBase> reader = new MemoryHeapBase(heap->getHeapID(), 0, MemoryHeapBase::READ_ONLY);
    ASSERT_NE(MAP_FAILED, reader->getBase());
    EXPECT_EQ('x', *static_cast<char*>(reader->getBase()));
}

TEST(MemoryHeapBaseTest, MapsFilesFromAnOffset) {
    char path[] = "/tmp/heapXXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    const off_t page = sysconf(_SC_PAGESIZE);
    ASSERT_EQ(3, pwrite(fd, "end", 3, page));
    sp<MemoryHeapBase> part = new MemoryHeapBase(fd, 0, MemoryHeapBase::READ_ONLY, page);
    sp<MemoryHeapBase> whole = new MemoryHeapBase(path, 0, MemoryHeapBase::READ_ONLY);
    close(fd);
    unlink(path);
    EXPECT_EQ(page, part->getOffset());
    ASSERT_EQ(3u, part->getSize());
    EXPECT_EQ(0, memcmp("end", part->getBase(), 3));
    EXPECT_EQ(static_cast<size_t>(page) + 3, whole->getSize());
}

TEST(MemoryHeapBaseTest, ShowsFailureAsAHeapWithoutMemory) {
    sp<IMemoryHeap> heaps[] = {new MemoryHeapBase(-1, 4096),
                               new MemoryHeapBase("/nonexistent/file"),
                               new MemoryHeapBase(size_t{0})};
    for (const sp<IMemoryHeap>& heap : heaps) {
        EXPECT_EQ(MAP_FAILED, heap->getBase());
        EXPECT_EQ(-1, heap->getHeapID());
        sp<IMemory> memory = new MemoryBase(heap, 0, 1);
        EXPECT_EQ(nullptr, memory->unsecurePointer());
    }
}

TEST(MemoryBaseTest, IsAPartOfItsHeap) {
    sp<MemoryHeapBase> heap = new MemoryHeapBase(size_t{4096});
    sp<IMemory> memory = new MemoryBase(heap, 100, 20);
    void* const first = memory->unsecurePointer();
    EXPECT_EQ(static_cast<char*>(heap->getBase()) + 100, first);
    EXPECT_EQ(20u, memory->size());
    EXPECT_EQ(100, memory->offset());
    EXPECT_EQ(heap.get(), memory->getMemory().get());
    EXPECT_NE(IInterface::asBinder(heap).get(), IInterface::asBinder(memory).get());
    heap.clear();
    memset(first, 1, 20);

    sp<IMemory> unmapped = new MemoryBase(
            new MemoryHeapBase(size_t{4096}, MemoryHeapBase::DONT_MAP_LOCALLY), 0, 20);
    EXPECT_EQ(nullptr, unmapped->unsecurePointer());
}

TEST(IPCThreadStateTest, TakesTheCallerFromItsOwnThread) {
    IPCThreadState* state = IPCThreadState::self();
    state->restoreCallingIdentity((INT64_C(0xfffffff0) << 32) | 77);
    std::thread other([] { EXPECT_EQ(getpid(), IPCThreadState::self()->getCallingPid()); });
    other.join();
    int64_t token = state->clearCallingIdentity();
    EXPECT_EQ(getpid(), state->getCallingPid());
    EXPECT_EQ(getuid(), state->getCallingUid());
    state->restoreCallingIdentity(token);
    EXPECT_EQ(77, state->getCallingPid());
    EXPECT_EQ(0xfffffff0u, state->getCallingUid());
    state->clearCallingIdentity();
}

}  // namespace
}  // namespace android
