// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "graphics/PictureQueue.h"

#include <gtest/gtest.h>
#include <gui/Surface.h>

#include <cerrno>

#include "graphics/LocalBufferProducer.h"

namespace oxa::test {
namespace {

using namespace android;

class TestPicture : public Picture {
  public:
    explicit TestPicture(int* alive) : Picture(2, 2), mAlive(alive) { ++*mAlive; }

  private:
    ~TestPicture() override { --*mAlive; }
    int* const mAlive;
};

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

class PictureQueueTest : public testing::Test {
  protected:
    void SetUp() override {
        mQueue->setConsumer(mConsumer);
        ASSERT_EQ(OK, mQueue->connect(mProducer));
    }

    void queuePicture(int64_t timestampNs) {
        ASSERT_TRUE(mQueue->tryReserve());
        mQueue->queue(new TestPicture(&mAlive), timestampNs);
    }

    int mAlive = 0;
    const sp<PictureQueue> mQueue = new PictureQueue;
    const sp<TestProducer> mProducer = new TestProducer;
    const sp<TestConsumer> mConsumer = new TestConsumer;
};

// A place stays taken from the reservation to the consumer's release, whatever the mixture.
TEST_F(PictureQueueTest, NeverHasMoreThanItsPlacesOnTheirWay) {
    QueuedPicture picture;
    queuePicture(1);
    queuePicture(2);
    ASSERT_TRUE(mQueue->tryAcquire(&picture));
    EXPECT_EQ(1, picture.timestampNs);
    EXPECT_TRUE(mQueue->tryReserve());
    EXPECT_TRUE(mQueue->tryReserve());
    EXPECT_FALSE(mQueue->tryReserve());
    EXPECT_EQ(0, mProducer->places);

    mQueue->release();
    EXPECT_EQ(1, mProducer->places);
    EXPECT_TRUE(mQueue->tryReserve());
    EXPECT_FALSE(mQueue->tryReserve());
    mQueue->cancelReservation();
    EXPECT_EQ(2, mProducer->places);
    EXPECT_TRUE(mQueue->tryReserve());
    EXPECT_FALSE(mQueue->tryReserve());
}

TEST_F(PictureQueueTest, TellsItsConsumerOfPicturesAndTheEnd) {
    QueuedPicture picture;
    EXPECT_FALSE(mQueue->tryAcquire(&picture));
    queuePicture(1);
    EXPECT_EQ(1, mConsumer->calls);
    ASSERT_EQ(OK, mQueue->signalEnd());
    EXPECT_EQ(1, mProducer->drains);
    EXPECT_EQ(INVALID_OPERATION, mQueue->signalEnd());
    EXPECT_EQ(1, mProducer->drains);

    // Not at its end as long as anything may come: a picture, a reservation, the producer.
    EXPECT_FALSE(mQueue->atEnd());
    ASSERT_TRUE(mQueue->tryReserve());
    ASSERT_TRUE(mQueue->tryAcquire(&picture));
    EXPECT_FALSE(mQueue->atEnd());
    mQueue->producerDrained();
    EXPECT_FALSE(mQueue->atEnd());
    const int before = mConsumer->calls;
    mQueue->cancelReservation();
    EXPECT_TRUE(mQueue->atEnd());
    EXPECT_EQ(before + 1, mConsumer->calls);
}

// The end comes when it is empty; a producer that connects later is asked to drain once more.
TEST_F(PictureQueueTest, ComesToItsEndWithoutAProducer) {
    const sp<TestProducer> second = new TestProducer;
    EXPECT_EQ(-EINVAL, mQueue->connect(second));
    mQueue->disconnect(second);  // it never was: changes nothing
    queuePicture(1);
    ASSERT_TRUE(mQueue->tryReserve());
    ASSERT_EQ(OK, mQueue->signalEnd());
    const int before = mConsumer->calls;
    mQueue->disconnect(mProducer);
    EXPECT_GT(mConsumer->calls, before) << "its reservation went with it";
    EXPECT_FALSE(mQueue->atEnd());
    QueuedPicture picture;
    ASSERT_TRUE(mQueue->tryAcquire(&picture));
    EXPECT_TRUE(mQueue->atEnd());

    ASSERT_EQ(OK, mQueue->connect(second));
    EXPECT_EQ(1, second->drains);
    EXPECT_EQ(1, mProducer->drains);
    EXPECT_FALSE(mQueue->atEnd());
    mQueue->producerDrained();
    EXPECT_TRUE(mQueue->atEnd());
}

TEST_F(PictureQueueTest, AnAbandonedQueueLetsGoOfPicturesAndHoldsNobodyUp) {
    QueuedPicture picture;
    queuePicture(1);
    queuePicture(2);
    queuePicture(3);
    ASSERT_TRUE(mQueue->tryAcquire(&picture));
    picture.picture.clear();
    ASSERT_TRUE(mQueue->tryReserve());
    EXPECT_EQ(2, mAlive);
    mQueue->abandon();
    EXPECT_EQ(0, mAlive);
    EXPECT_EQ(1, mProducer->places);
    for (int i = 0; i < 10; ++i)
        queuePicture(i);
    EXPECT_EQ(0, mAlive);
}

TEST(SurfaceTest, IsOneObjectUnderAllItsViews) {
    const sp<PictureQueue> queue = new PictureQueue;
    const sp<IGraphicBufferProducer> producer = new LocalBufferProducer(queue);
    sp<Surface> surface = new Surface(producer);
    EXPECT_TRUE(Surface::isValid(surface));
    EXPECT_FALSE(Surface::isValid(nullptr));
    EXPECT_FALSE(Surface::isValid(new Surface(nullptr)));
    EXPECT_EQ(producer.get(), surface->getIGraphicBufferProducer().get());

    const wp<Surface> watch = surface;
    sp<RefBase> object = surface;
    sp<ANativeWindow> window = surface;
    surface.clear();
    object.clear();
    EXPECT_EQ(watch.promote().get(), window.get());
    window.clear();
    EXPECT_EQ(nullptr, watch.promote().get());
}

}  // namespace
}  // namespace oxa::test
