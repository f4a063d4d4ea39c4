// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <android/hidl/allocator/1.0/IAllocator.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <hidlmemory/mapping.h>
#include <unistd.h>
#include <vendor/oxa/audioutil/1.0/IAudioUtil.h>

#include <cstring>
#include <utility>

namespace android::hardware {
namespace {

using hidl::allocator::V1_0::IAllocator;
using hidl::base::V1_0::IBase;
using vendor::oxa::audioutil::V1_0::IAudioUtil;
using vendor::oxa::audioutil::V1_0::IAudioUtilCallback;
using Mapping = hidl::memory::V1_0::IMemory;

constexpr size_t kSize = 16384;

bool isOpen(int fd) {
    return fcntl(fd, F_GETFD) >= 0;
}

int descriptorOf(const hidl_memory& memory) {
    return memory.handle() == nullptr ? -1 : memory.handle()->data[0];
}

// A copy of what the allocator gives.
hidl_memory allocate(uint64_t size) {
    const sp<IAllocator> allocator = IAllocator::getService("ashmem");
    hidl_memory memory;
    int calls = 0;
    const Return<void> answer =
            allocator->allocate(size, [&](bool success, const hidl_memory& made) {
                ++calls;
                EXPECT_EQ(success, made.valid());
                memory = made;
            });
    EXPECT_TRUE(answer.isOk());
    EXPECT_EQ(1, calls);
    return memory;
}

TEST(SharedMemoryTest, IsSharedByAllItsMappings) {
    const hidl_memory memory = allocate(kSize);
    ASSERT_TRUE(memory.valid());
    EXPECT_EQ(kSize, memory.size());
    EXPECT_STREQ("ashmem", memory.name().c_str());
    EXPECT_EQ(1, memory.handle()->numFds);

    const sp<Mapping> mine = mapMemory(memory);
    const sp<Mapping> theirs = mapMemory(hidl_memory(memory));
    ASSERT_NE(nullptr, mine);
    ASSERT_NE(nullptr, theirs);
    EXPECT_EQ(kSize, static_cast<uint64_t>(theirs->getSize()));
    auto* const from = static_cast<char*>(static_cast<void*>(mine->getPointer()));
    auto* const to = static_cast<char*>(static_cast<void*>(theirs->getPointer()));
    ASSERT_NE(from, to);
    EXPECT_EQ(0, to[kSize - 1]);
    strcpy(from + kSize - 8, "shared");
    EXPECT_STREQ("shared", to + kSize - 8);
}

TEST(SharedMemoryTest, OutlivesTheMemoryOnceMapped) {
    sp<Mapping> mapping;
    int fd = -1;
    {
        const hidl_memory memory = allocate(kSize);
        fd = descriptorOf(memory);
        ASSERT_TRUE(isOpen(fd));
        mapping = mapMemory(memory);
    }
    EXPECT_FALSE(isOpen(fd));
    ASSERT_NE(nullptr, mapping);
    memset(mapping->getPointer(), 1, kSize);
}

TEST(SharedMemoryTest, CopiesHaveDescriptorsOfTheirOwnAndMovesHandThemOver) {
    hidl_memory memory = allocate(kSize);
    const int fd = descriptorOf(memory);
    int copied = -1;
    {
        hidl_memory copy = memory;
        copied = descriptorOf(copy);
        EXPECT_NE(fd, copied);
        EXPECT_TRUE(isOpen(copied));
        const hidl_memory moved = std::move(copy);
        EXPECT_EQ(copied, descriptorOf(moved));
        hidl_memory& same = memory;
        memory = same;
    }
    EXPECT_FALSE(isOpen(copied));
    ASSERT_TRUE(isOpen(fd));
    // A handle that only refers does not close.
    { hidl_handle reference(memory.handle()); }
    EXPECT_TRUE(isOpen(fd));
    memory = hidl_memory();
    EXPECT_FALSE(isOpen(fd));
}

TEST(SharedMemoryTest, FailsWithoutMemory) {
    for (const uint64_t size : {UINT64_C(0), UINT64_C(1) << 40}) {
        const hidl_memory none = allocate(size);
        EXPECT_FALSE(none.valid());
        EXPECT_EQ(nullptr, mapMemory(none));
    }
    const hidl_memory memory = allocate(kSize);
    EXPECT_EQ(nullptr, mapMemory(hidl_memory("other", memory.handle(), kSize)));
    EXPECT_EQ(nullptr, mapMemory(hidl_memory("ashmem", memory.handle(), 0)));
    EXPECT_EQ(nullptr, IAllocator::getService("other"));
    EXPECT_EQ(nullptr, IAllocator::getService());
}

class Callback : public IAudioUtilCallback {
  public:
    Return<void> handleEvent(int32_t /*event*/) override { return Void(); }
};

class DeadService : public IAudioUtil {
  public:
    Return<void> setRxRender(int32_t, int32_t, int32_t) override { return dead(); }
    Return<void> setRxPlayback(bool) override { return dead(); }
    Return<void> setRxRecord(bool) override { return dead(); }
    Return<void> readRxAudio(const hidl_memory&, readRxAudio_cb) override { return dead(); }
    Return<void> registerRxCallback(int32_t, const sp<IAudioUtilCallback>&) override {
        return dead();
    }
    Return<void> removeRxCallback(int32_t) override { return dead(); }
    Return<bool> linkToDeath(const sp<hidl_death_recipient>&, uint64_t) override { return dead(); }

  private:
    static Status dead() { return Status::fromStatusT(DEAD_OBJECT); }
};

TEST(HidlReturnTest, TellsThatTheServiceIsDead) {
    const sp<IAudioUtil> service = new DeadService;
    Return<void> answer = service->setRxRecord(true);
    EXPECT_FALSE(answer.isOk());
    EXPECT_TRUE(answer.isDeadObject());
    EXPECT_NE(answer.description(), service->ping().description());
    EXPECT_TRUE(service->linkToDeath(nullptr, 0).withDefault(true));
    EXPECT_TRUE(service->ping().isOk());
}

TEST(HidlReturnDeathTest, EndsTheProcessWhenTheResultOfAFailedCallIsTaken) {
    const sp<IAudioUtil> service = new DeadService;
    EXPECT_DEATH({ [[maybe_unused]] const bool linked = service->linkToDeath(nullptr, 0); },
                 "transport error");
}

TEST(ServiceTest, IsFoundByItsName) {
    const sp<IAudioUtil> first = new DeadService;
    const sp<IAudioUtil> second = new DeadService;
    EXPECT_EQ(nullptr, IAudioUtil::getService("test"));
    EXPECT_NE(OK, first->registerAsService(""));
    ASSERT_EQ(OK, first->registerAsService("test"));
    EXPECT_EQ(first, IAudioUtil::getService("test"));
    ASSERT_EQ(OK, second->registerAsService("test"));
    EXPECT_EQ(second, IAudioUtil::tryGetService("test"));
}

TEST(ServiceTest, IsCastOnlyToItsInterface) {
    const sp<IBase> service = new DeadService;
    const sp<IBase> callback = new Callback;
    EXPECT_EQ(service, sp<IAudioUtil>(IAudioUtil::castFrom(service)));
    EXPECT_EQ(nullptr, sp<IAudioUtil>(IAudioUtil::castFrom(callback)));
    EXPECT_EQ(nullptr, sp<IAudioUtilCallback>(IAudioUtilCallback::castFrom(service)));
    EXPECT_EQ(nullptr, sp<IAudioUtil>(IAudioUtil::castFrom(sp<IBase>())));
    hidl_vec<hidl_string> chain;
    EXPECT_TRUE(service->interfaceChain([&](const auto& names) { chain = names; }).isOk());
    EXPECT_EQ((hidl_vec<hidl_string>{"vendor.oxa.audioutil@1.0::IAudioUtil",
                                     "android.hidl.base@1.0::IBase"}),
              chain);
}

}  // namespace
}  // namespace android::hardware
