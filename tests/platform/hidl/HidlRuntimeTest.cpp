// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <android/hidl/allocator/1.0/IAllocator.h>
#include <fcntl.h>
#include <hidl/Status.h>
#include <hidlmemory/mapping.h>
#include <oxa/host/HdmiSound.h>
#include <unistd.h>
#include <vendor/oxa/audioutil/1.0/IAudioUtil.h>

#include <sstream>

#include "support/Test.h"

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
    EXPECT_EQ(calls, 1);
    return memory;
}

TEST(SharedMemoryTest, copiesHaveDescriptorsOfTheirOwnAndMovesHandThemOver) {
    hidl_memory memory = allocate(kSize);
    ASSERT_TRUE(memory.valid());
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

    // What is mapped is empty, and outlives the memory.
    const sp<Mapping> mapping = mapMemory(memory);
    memory = hidl_memory();
    EXPECT_FALSE(isOpen(fd));
    ASSERT_NE(mapping, nullptr);
    EXPECT_EQ(static_cast<uint64_t>(mapping->getSize()), kSize);
    auto* const last = static_cast<char*>(static_cast<void*>(mapping->getPointer())) + kSize - 1;
    EXPECT_EQ(*last, 0);
    *last = 1;
}

TEST(SharedMemoryTest, failsWithoutMemory) {
    EXPECT_TRUE(allocate(INT32_MAX).valid());
    for (const uint64_t size : {UINT64_C(0), UINT64_C(1) << 31}) {
        const hidl_memory none = allocate(size);
        EXPECT_FALSE(none.valid());
        EXPECT_EQ(mapMemory(none), nullptr);
    }
    const hidl_memory memory = allocate(kSize);
    EXPECT_EQ(mapMemory(hidl_memory("other", memory.handle(), kSize)), nullptr);
    EXPECT_EQ(mapMemory(hidl_memory("ashmem", memory.handle(), 0)), nullptr);
    EXPECT_EQ(IAllocator::getService("other"), nullptr);
    EXPECT_EQ(IAllocator::getService(), nullptr);
    EXPECT_EQ(IAllocator::getService("ashmem", true), nullptr);
}

class Callback : public IAudioUtilCallback {
  public:
    Return<void> handleEvent(int32_t /*event*/) override { return Void(); }
};

TEST(ServiceTest, needsANameAndIsCastOnlyToItsInterface) {
    oxa::host::startHdmiSoundService();
    const sp<IAudioUtil> named = IAudioUtil::getService("default", false);
    EXPECT_EQ(IAudioUtil::getService("default", true), nullptr);
    EXPECT_NE(named->registerAsService(""), OK);
    const sp<IBase> service = named;
    const sp<IBase> callback = new Callback;
    EXPECT_TRUE(service->isRemote() && !callback->isRemote());
    EXPECT_EQ(service, sp<IAudioUtil>(IAudioUtil::castFrom(service)));
    EXPECT_EQ(sp<IAudioUtil>(IAudioUtil::castFrom(callback)), nullptr);
    EXPECT_EQ(sp<IAudioUtilCallback>(IAudioUtilCallback::castFrom(service)), nullptr);
    EXPECT_EQ(sp<IAudioUtil>(IAudioUtil::castFrom(sp<IBase>())), nullptr);
    hidl_vec<hidl_string> chain;
    EXPECT_TRUE(service->interfaceChain([&](const auto& names) { chain = names; }).isOk());
    EXPECT_EQ(chain, (hidl_vec<hidl_string>{"vendor.oxa.audioutil@1.0::IAudioUtil",
                                            "android.hidl.base@1.0::IBase"}));
}

TEST(HidlValues, areThoseOfAndroid) {
    char kept[] = "kept";
    hidl_string external;
    external.setToExternal(kept, 4);
    const hidl_string copy = external;
    std::ostringstream shown;
    shown << external;
    kept[0] = 'K';
    EXPECT_STREQ(external.c_str(), "Kept");
    EXPECT_STREQ(hidl_string(std::move(external)).c_str(), "Kept");
    EXPECT_STREQ(copy.c_str(), "kept");
    EXPECT_EQ(shown.str(), "kept");
    EXPECT_TRUE(copy < "kepu" && !(copy < "kept") && copy <= "kept" && !(copy <= "k"));
    EXPECT_TRUE(copy > "k" && !(copy > "kept") && "kept" >= copy && !("k" >= copy));
    EXPECT_TRUE(hidl_string().empty() && !hidl_string("k").empty());
    const std::vector<int> range = {1, 2, 3};
    const hidl_vec<int> items(range.begin(), range.end());
    EXPECT_EQ(items.size(), 3u);
    EXPECT_TRUE(items.contains(2) && !items.contains(4));
    EXPECT_EQ(items.find(3) - items.begin(), 2);
    EXPECT_EQ(items.end(), items.find(4));
    EXPECT_DEATH(hidl_string().setToExternal("ab", 1), "does not end");
}

Status dead() {
    return Status::fromStatusT(DEAD_OBJECT);
}

// Who has asked for the error has seen it, in whatever way; moving hands the duty on.
TEST(HidlAnswers, aFailedCallThatWasLookedAtIsHarmless) {
    (void)Return<void>(dead()).isOk();
    (void)Return<void>(dead()).isDeadObject();
    EXPECT_FALSE(Return<bool>(dead()).withDefault(false));
    Return<void> failed = dead();
    Return<void> moved = std::move(failed);
    EXPECT_FALSE(moved.isOk());
    Return<void> fine = Void();
    fine = std::move(moved);
    EXPECT_TRUE(fine.isDeadObject());
}

TEST(HidlAnswersDeathTest, aFailedCallThatNobodyLookedAtEndsTheProcess) {
    constexpr void (*kUses[])() = {
            [] { Return<void> failed = dead(); }, [] { (void)Return<void>(dead()).description(); },
            [] {
                Return<bool> failed = dead();
                Return<bool> moved = std::move(failed);
            },
            [] {
                Return<void> failed = dead();
                failed = Void();
            },
            [] { [[maybe_unused]] const bool value = Return<bool>(dead()); }};
    for (const auto& use : kUses)
        EXPECT_DEATH(use(), "transport error") << "use " << &use - kUses;
}

}  // namespace
}  // namespace android::hardware
