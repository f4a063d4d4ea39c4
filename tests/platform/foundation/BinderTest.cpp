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

TEST(MemoryHeapBaseTest, sharesNewMemoryThroughItsDescriptor) {
    sp<MemoryHeapBase> heap = new MemoryHeapBase(size_t{10}, 0, "shared");
    ASSERT_NE(heap->getBase(), MAP_FAILED);
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    EXPECT_EQ(page, heap->getSize());
    EXPECT_EQ(page, sp<MemoryHeapBase>(new MemoryHeapBase(page))->getSize());
    sp<MemoryHeapBase> other = new MemoryHeapBase(heap->getHeapID(), 0);
    ASSERT_NE(other->getBase(), MAP_FAILED);
    EXPECT_NE(heap->getHeapID(), other->getHeapID());
    EXPECT_EQ(heap->getSize(), other->getSize());
    strcpy(static_cast<char*>(heap->getBase()), "text");
    heap.clear();
    EXPECT_STREQ(static_cast<char*>(other->getBase()), "text");
}

TEST(MemoryHeapBaseTest, letsOnlyTheMakerWriteReadOnlyMemory) {
    sp<MemoryHeapBase> heap = new MemoryHeapBase(size_t{1}, MemoryHeapBase::READ_ONLY);
    ASSERT_NE(heap->getBase(), MAP_FAILED);
    *static_cast<char*>(heap->getBase()) = 'x';
    sp<MemoryHeapBase> writer = new MemoryHeapBase(heap->getHeapID(), 0);
    EXPECT_EQ(writer->getBase(), MAP_FAILED);
    sp<MemoryHeapBase> reader = new MemoryHeapBase(heap->getHeapID(), 0, MemoryHeapBase::READ_ONLY);
    ASSERT_NE(reader->getBase(), MAP_FAILED);
    EXPECT_EQ(*static_cast<char*>(reader->getBase()), 'x');
}

TEST(MemoryHeapBaseTest, mapsFilesFromAnOffset) {
    char path[] = "/tmp/heapXXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    const off_t page = sysconf(_SC_PAGESIZE);
    ASSERT_EQ(pwrite(fd, "end", 3, page), 3);
    sp<MemoryHeapBase> part = new MemoryHeapBase(fd, 0, MemoryHeapBase::READ_ONLY, page);
    sp<MemoryHeapBase> whole = new MemoryHeapBase(path, 0, MemoryHeapBase::READ_ONLY);
    close(fd);
    unlink(path);
    EXPECT_EQ(part->getOffset(), page);
    ASSERT_EQ(part->getSize(), 3u);
    EXPECT_EQ(memcmp("end", part->getBase(), 3), 0);
    EXPECT_EQ(static_cast<size_t>(page) + 3, whole->getSize());
}

TEST(MemoryHeapBaseTest, showsFailureAsAHeapWithoutMemory) {
    sp<IMemoryHeap> heaps[] = {new MemoryHeapBase(-1, 4096),
                               new MemoryHeapBase("/nonexistent/file"),
                               new MemoryHeapBase(size_t{0})};
    for (const sp<IMemoryHeap>& heap : heaps) {
        EXPECT_EQ(heap->getBase(), MAP_FAILED);
        EXPECT_EQ(heap->getHeapID(), -1);
        sp<IMemory> memory = new MemoryBase(heap, 0, 1);
        EXPECT_EQ(memory->unsecurePointer(), nullptr);
    }
}

TEST(MemoryBaseTest, isAPartOfItsHeap) {
    sp<MemoryHeapBase> heap = new MemoryHeapBase(size_t{4096});
    sp<IMemory> memory = new MemoryBase(heap, 100, 20);
    void* const first = memory->unsecurePointer();
    EXPECT_EQ(static_cast<char*>(heap->getBase()) + 100, first);
    EXPECT_EQ(memory->size(), 20u);
    EXPECT_EQ(memory->offset(), 100);
    EXPECT_EQ(heap.get(), memory->getMemory().get());
    EXPECT_NE(IInterface::asBinder(heap).get(), IInterface::asBinder(memory).get());
    heap.clear();
    memset(first, 1, 20);

    sp<IMemory> unmapped = new MemoryBase(
            new MemoryHeapBase(size_t{4096}, MemoryHeapBase::DONT_MAP_LOCALLY), 0, 20);
    EXPECT_EQ(unmapped->unsecurePointer(), nullptr);
}

TEST(IPCThreadStateTest, takesTheCallerFromItsOwnThread) {
    IPCThreadState* state = IPCThreadState::self();
    state->restoreCallingIdentity((INT64_C(0xfffffff0) << 32) | 77);
    std::thread other([] { EXPECT_EQ(getpid(), IPCThreadState::self()->getCallingPid()); });
    other.join();
    int64_t token = state->clearCallingIdentity();
    EXPECT_EQ(getpid(), state->getCallingPid());
    EXPECT_EQ(getuid(), state->getCallingUid());
    state->restoreCallingIdentity(token);
    EXPECT_EQ(state->getCallingPid(), 77);
    EXPECT_EQ(state->getCallingUid(), 0xfffffff0u);
    state->clearCallingIdentity();
}

}  // namespace
}  // namespace android
