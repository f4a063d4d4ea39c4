// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <media/MediaBufferHolder.h>
#include <media/stagefright/MediaAdapter.h>
#include <media/stagefright/foundation/ABuffer.h>

#include <future>

#include "support/Test.h"

namespace android {
namespace {

using oxa::test::waitFor;

// Counts what comes back and ends its life.
class Observer : public MediaBufferObserver {
  public:
    void signalBufferReturned(MediaBufferBase* buffer) override {
        ++returned;
        buffer->setObserver(nullptr);
        buffer->release();
    }
    int returned = 0;
};

TEST(MediaBufferTest, refersToTheRangeThatAnotherBufferHasNow) {
    sp<ABuffer> memory = new ABuffer(100);
    memory->setRange(10, 20);
    auto* buffer = new MediaBuffer(memory);
    memory->setRange(0, 5);
    EXPECT_EQ(buffer->data(), memory->base() + 10);
    EXPECT_EQ(buffer->range_length(), 20u);
    EXPECT_DEATH(buffer->set_range(10, 20), "CHECK_LE\\( length,mSize - offset\\) failed");
    buffer->set_range(5, 15);
    buffer->meta_data().setInt32(kKeyIsSyncFrame, 1);
    buffer->reset();
    EXPECT_EQ(buffer->range_offset(), 0u);
    EXPECT_EQ(buffer->range_length(), 20u);
    EXPECT_FALSE(buffer->meta_data().hasData(kKeyIsSyncFrame));

    // The buffer is what keeps the memory now.
    wp<ABuffer> watched = memory;
    memory.clear();
    EXPECT_TRUE(watched.promote() != nullptr);
    buffer->release();
    EXPECT_TRUE(watched.promote() == nullptr);
}

TEST(MediaBufferTest, goesBackToItsObserverAfterTheLastUser) {
    Observer observer;
    MediaBufferBase* buffer = MediaBufferBase::Create(8);
    buffer->setObserver(&observer);
    EXPECT_DEATH(buffer->setObserver(&observer), "CHECK\\(observer == nullptr");
    EXPECT_DEATH(buffer->release(), "CHECK_GT\\( before,0\\) failed: 0 vs. 0");
    buffer->add_ref();
    {
        sp<MediaBufferHolder> holder = new MediaBufferHolder(buffer);
        EXPECT_EQ(holder->mediaBuffer(), buffer);
        buffer->release();
        EXPECT_EQ(observer.returned, 0);
        buffer->setObserver(nullptr);
        EXPECT_DEATH(buffer->release(), "CHECK_EQ\\( refcount\\(\\),0\\) failed: 1 vs. 0");
        buffer->setObserver(&observer);
    }
    EXPECT_EQ(observer.returned, 1);
}

TEST(MetaDataTest, findsAnItemOnlyAsWhatItWasSet) {
    sp<MetaData> meta = new MetaData;
    EXPECT_FALSE(meta->setInt32(kKeyWidth, 640));
    EXPECT_TRUE(meta->setInt64(kKeyWidth, 641)) << "the key had an item before";
    int32_t int32 = -1;
    int64_t int64 = -1;
    EXPECT_FALSE(meta->findInt32(kKeyWidth, &int32));
    EXPECT_EQ(int32, -1);
    EXPECT_TRUE(meta->findInt64(kKeyWidth, &int64));
    EXPECT_EQ(int64, 641);

    int target = 0;
    meta->setFloat(0x656F73, 1.5f);
    meta->setPointer(kKeyTime, &target);
    meta->setRect(kKeyCropRect, 1, 2, 3, 4);
    meta->setCString(kKeyMIMEType, "video/avc");
    meta->setData(kKeyAVCC, kTypeAVCC, "\1\0\2", 3);
    MetaDataBase copy(*meta);
    meta->clear();
    EXPECT_FALSE(meta->hasData(kKeyMIMEType));

    float number = 0;
    void* pointer = nullptr;
    int32_t rect[4] = {};
    const char* text = nullptr;
    uint32_t type = 0;
    const void* data = nullptr;
    size_t size = 0;
    EXPECT_TRUE(copy.findFloat(0x656F73, &number));
    EXPECT_EQ(number, 1.5f);
    EXPECT_TRUE(copy.findPointer(kKeyTime, &pointer));
    EXPECT_EQ(&target, pointer);
    EXPECT_TRUE(copy.findRect(kKeyCropRect, &rect[0], &rect[1], &rect[2], &rect[3]));
    EXPECT_THAT(rect, testing::ElementsAre(1, 2, 3, 4));
    EXPECT_TRUE(copy.findCString(kKeyMIMEType, &text));
    EXPECT_STREQ(text, "video/avc");
    EXPECT_TRUE(copy.findData(kKeyMIMEType, &type, &data, &size));
    EXPECT_EQ(size, sizeof("video/avc"));
    EXPECT_TRUE(copy.findData(kKeyAVCC, &type, &data, &size));
    EXPECT_EQ(type, uint32_t{kTypeAVCC});
    EXPECT_EQ(std::string(static_cast<const char*>(data), size), std::string("\1\0\2", 3));
    copy.setPointer(kKeyTime, nullptr);
    EXPECT_THAT(copy.toString().c_str(), testing::HasSubstr("time: (void*) 0x0"));
    copy.setData(kKeyAVCC, kTypeAVCC, std::string(49, 'x').data(), 49);
    EXPECT_THAT(copy.toString().c_str(),
                testing::HasSubstr("avcc: (unknown type 1635148643, size 49), "));
    copy.setData(kKeyAVCC, kTypeAVCC, std::string(48, 'x').data(), 48);
    EXPECT_THAT(copy.toString().c_str(),
                testing::AllOf(testing::HasSubstr("\n00000020:  78"),
                               testing::Not(testing::HasSubstr("00000030:"))));
    EXPECT_TRUE(copy.remove(kKeyAVCC));
    EXPECT_FALSE(copy.remove(kKeyAVCC));
}

class MediaAdapterTest : public ::testing::Test {
  protected:
    // Pushes on another thread, because it blocks.
    std::future<status_t> push(MediaBuffer* buffer) {
        buffer->add_ref();
        return std::async(std::launch::async, [this, buffer] {
            const status_t err = mAdapter->pushBuffer(buffer);
            mPushReturned = true;
            return err;
        });
    }

    sp<MetaData> mFormat = new MetaData;
    sp<MediaAdapter> mAdapter = new MediaAdapter(mFormat);
    std::atomic<bool> mPushReturned{false};
};

// Would catch a push that returns when the reader has the buffer but has not copied it yet: the
// pushed memory is used again right after.
TEST_F(MediaAdapterTest, aPushReturnsOnlyAfterTheReaderHasReleased) {
    EXPECT_EQ(mAdapter->getFormat(), mFormat);
    ASSERT_EQ(mAdapter->start(), OK);
    ASSERT_EQ(mAdapter->start(), OK);
    for (int round = 0; round < 100; ++round) {
        mPushReturned = false;
        auto* pushed = new MediaBuffer(size_t{8});
        std::future<status_t> result = push(pushed);
        MediaBufferBase* read = nullptr;
        ASSERT_EQ(mAdapter->read(&read), OK);
        ASSERT_EQ(read, pushed);
        ASSERT_FALSE(mPushReturned);
        read->release();
        ASSERT_EQ(result.get(), OK);
    }
    mAdapter->stop();
}

TEST_F(MediaAdapterTest, refusesBuffersUnlessStarted) {
    MediaBuffer* buffer = new MediaBuffer(size_t{8});
    EXPECT_EQ(mAdapter->pushBuffer(nullptr), -EINVAL);
    EXPECT_EQ(mAdapter->pushBuffer(buffer), INVALID_OPERATION);
    MediaBufferBase* read = nullptr;
    EXPECT_EQ(mAdapter->read(&read), ERROR_END_OF_STREAM);
    EXPECT_EQ(mAdapter->stop(), OK);
    mAdapter->start();
    mAdapter->stop();
    EXPECT_EQ(mAdapter->pushBuffer(buffer), INVALID_OPERATION);
    buffer->release();  // was left alone: no user, no observer
}

TEST_F(MediaAdapterTest, stopEndsAPushThatNobodyReadsAndARead) {
    // Until a stop came while the push was waiting, and not before it.
    EXPECT_TRUE(waitFor([this] {
        mAdapter->start();
        auto* buffer = new MediaBuffer(size_t{8});
        std::future<status_t> pushed = push(buffer);
        std::this_thread::yield();
        mAdapter->stop();
        if (pushed.get() == OK) return true;
        Observer observer;
        buffer->setObserver(&observer);
        buffer->release();
        return false;
    }));

    mAdapter->start();
    std::future<status_t> read = std::async(std::launch::async, [this] {
        MediaBufferBase* buffer = nullptr;
        return mAdapter->read(&buffer);
    });
    mAdapter->stop();
    EXPECT_EQ(read.get(), ERROR_END_OF_STREAM);
}

TEST_F(MediaAdapterTest, aBufferThatTheReaderHasKeepsThePusherWaitingAfterStop) {
    mAdapter->start();
    std::future<status_t> pushed = push(new MediaBuffer(size_t{8}));
    MediaBufferBase* read = nullptr;
    ASSERT_EQ(mAdapter->read(&read), OK);
    mAdapter->stop();
    EXPECT_FALSE(mPushReturned);
    read->release();
    EXPECT_EQ(pushed.get(), OK);
}

}  // namespace
}  // namespace android
