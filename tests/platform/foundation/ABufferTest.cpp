// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>
#include <string.h>

namespace android {
namespace {

TEST(ABufferTest, StartsWithTheWholeCapacityAndMovesItsRange) {
    sp<ABuffer> buffer = new ABuffer(16);
    EXPECT_EQ(16u, buffer->capacity());
    EXPECT_EQ(16u, buffer->size());
    EXPECT_EQ(0u, buffer->offset());
    EXPECT_EQ(buffer->base(), buffer->data());
    memset(buffer->base(), 0x55, 16);

    buffer->setRange(4, 12);
    EXPECT_EQ(buffer->base() + 4, buffer->data());
    EXPECT_EQ(12u, buffer->size());
    buffer->setRange(16, 0);
    EXPECT_EQ(16u, buffer->offset());
    EXPECT_EQ(16u, buffer->capacity());
}

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

TEST(ABufferTest, KeepsOneMetaMessageAndANumber) {
    sp<ABuffer> buffer = new ABuffer(0);
    buffer->meta()->setInt64("timeUs", 40);
    int64_t timeUs = 0;
    EXPECT_TRUE(buffer->meta()->findInt64("timeUs", &timeUs));
    EXPECT_EQ(40, timeUs);
    EXPECT_EQ(0, buffer->int32Data());
    buffer->setInt32Data(-9);
    EXPECT_EQ(-9, buffer->int32Data());
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
