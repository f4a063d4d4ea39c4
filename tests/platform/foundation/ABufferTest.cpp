// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <string.h>

namespace android {
namespace {

TEST(ABufferTest, BorrowsOrCopiesForeignMemory) {
    char bytes[] = "abc";
    sp<ABuffer> borrowed = new ABuffer(bytes, 3);
    sp<ABuffer> copied = ABuffer::CreateAsCopy(bytes, 3);
    bytes[0] = 'x';
    EXPECT_EQ(0, memcmp("xbc", borrowed->data(), 3));
    EXPECT_EQ(0, memcmp("abc", copied->data(), 3));
    EXPECT_EQ(3u, copied->size());
    borrowed.clear();
    EXPECT_STREQ("xbc", bytes);
}

// The sanitizers' allocators end the process instead of answering that there is no memory.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(ABufferTest, IsEmptyWithoutMemory) {
    volatile size_t tooMuch = SIZE_MAX / 2;
    sp<ABuffer> buffer = new ABuffer(tooMuch);
    EXPECT_EQ(nullptr, buffer->base());
    EXPECT_EQ(0u, buffer->capacity());
    EXPECT_EQ(0u, buffer->size());
    char byte = 0;
    EXPECT_EQ(nullptr, ABuffer::CreateAsCopy(&byte, tooMuch).get());
}
#endif

TEST(ABufferDeathTest, RefusesARangeBeyondTheCapacity) {
    sp<ABuffer> buffer = new ABuffer(8);
    EXPECT_DEATH(buffer->setRange(9, 0), "CHECK_LE");
    EXPECT_DEATH(buffer->setRange(4, 5), "CHECK_LE");
    EXPECT_DEATH(buffer->setRange(1, SIZE_MAX), "CHECK_LE");
}

}  // namespace
}  // namespace android
