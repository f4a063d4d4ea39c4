// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "graphics/PictureQueue.h"

#include <cerrno>

#include "support/Test.h"
#include "support/TestPictures.h"

namespace oxa::test {
namespace {

using namespace android;

class TestProducer : public PictureQueue::ProducerListener {
  public:
    void onPlaceFree() override { ++places; }
    void onDrainRequested() override { ++drains; }
    int places = 0;
    int drains = 0;
};

class TestConsumer : public PictureQueue::ConsumerListener {
  public:
    void onPictureQueued() override { ++calls; }
    int calls = 0;
};

// The end comes when it is empty; a producer that connects later is asked to drain once more.
TEST(PictureQueueTest, comesToItsEndWithoutAProducer) {
    const sp<PictureQueue> queue = new PictureQueue;
    const sp<TestProducer> first = new TestProducer;
    const sp<TestProducer> second = new TestProducer;
    const sp<TestConsumer> consumer = new TestConsumer;
    queue->setConsumer(consumer);
    ASSERT_EQ(queue->connect(first), OK);
    EXPECT_EQ(queue->connect(second), -EINVAL);
    queue->disconnect(second);  // it never was: changes nothing
    ASSERT_TRUE(queue->tryReserve());
    queue->queue(makeCard(), 1);
    ASSERT_TRUE(queue->tryReserve());
    ASSERT_EQ(queue->signalEnd(), OK);
    EXPECT_EQ(first->drains, 1);
    const int before = consumer->calls;
    queue->disconnect(first);
    EXPECT_GT(consumer->calls, before) << "its reservation went with it";
    EXPECT_FALSE(queue->atEnd());
    QueuedPicture picture;
    ASSERT_TRUE(queue->tryAcquire(&picture));
    EXPECT_TRUE(queue->atEnd());

    ASSERT_EQ(queue->connect(second), OK);
    EXPECT_EQ(second->drains, 1);
    EXPECT_EQ(first->drains, 1);
    EXPECT_FALSE(queue->atEnd());
    queue->producerDrained();
    EXPECT_TRUE(queue->atEnd());
}

// Both sides wait for nothing but a call.
TEST(PictureQueueTest, wakesWhoeverMayGoOn) {
    const sp<PictureQueue> queue = new PictureQueue(2);
    const sp<TestProducer> producer = new TestProducer;
    const sp<TestConsumer> consumer = new TestConsumer;
    queue->setConsumer(consumer);
    ASSERT_EQ(queue->connect(producer), OK);
    ASSERT_TRUE(queue->tryReserve());
    ASSERT_TRUE(queue->tryReserve());
    EXPECT_FALSE(queue->tryReserve());
    const auto expectWakes = [&](int places, int calls) {
        EXPECT_EQ(places, producer->places);
        EXPECT_EQ(calls, consumer->calls);
    };
    queue->cancelReservation();
    expectWakes(1, 1);
    queue->queue(makeCard(), 1);
    expectWakes(1, 2);
    queue->cancelReservation();  // there is none
    expectWakes(1, 2);
    QueuedPicture picture;
    ASSERT_TRUE(queue->tryAcquire(&picture));
    EXPECT_TRUE(queue->tryReserve());
    EXPECT_FALSE(queue->tryReserve()) << "one is reserved, one in use";
    queue->release();
    expectWakes(2, 2);
    queue->release();  // there is none
    queue->queue(makeCard(), 2);
    ASSERT_TRUE(queue->tryReserve());
    queue->abandon();
    expectWakes(3, 3);
    queue->queue(makeCard(), 3);
    expectWakes(4, 3);
    EXPECT_FALSE(queue->tryAcquire(&picture));
    queue->producerDrained(7);
    EXPECT_EQ(queue->endNs(), 7);
}

}  // namespace
}  // namespace oxa::test
