// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/foundation/LooperTestKit.h"

namespace android {
namespace {

using oxa::test::FunctionHandler;
using oxa::test::reply;

// Plain fields, written by whoever has the object: only the way from hand to hand orders them.
class Parcel : public RefBase {
  public:
    explicit Parcel(std::atomic<int>* destroyed) : mDestroyed(destroyed) {}

    int visits = 0;
    std::vector<int> bytes = std::vector<int>(16);

  protected:
    ~Parcel() override {
        bytes.assign(16, visits);
        ++*mDestroyed;
    }

  private:
    std::atomic<int>* const mDestroyed;
};

// Objects go from looper to looper and end on whichever thread lets go last. Mainly for the thread
// sanitizer: it must find nothing here, and needs to be told of the reference counts for that.
TEST(ObjectHandoverTest, ObjectsMayEndOnAnyThread) {
    constexpr int kParcels = 2000;
    std::atomic<int> destroyed{0};
    sp<ALooper> first = new ALooper;
    sp<ALooper> second = new ALooper;
    sp<AHandler> last = new FunctionHandler([](const sp<AMessage>& msg) {
        sp<RefBase> object;
        if (!msg->findObject("parcel", &object)) {
            reply(msg, OK);
            return;
        }
        static_cast<Parcel*>(object.get())->visits++;
    });
    sp<AHandler> middle = new FunctionHandler([last](const sp<AMessage>& msg) {
        sp<RefBase> object;
        if (msg->findObject("parcel", &object)) {
            static_cast<Parcel*>(object.get())->visits++;
        }
        // The copy shares the object: both messages now race for the last reference.
        sp<AMessage> copy = msg->dup();
        object.clear();
        copy->setTarget(last);
        copy->post();
    });
    first->registerHandler(middle);
    second->registerHandler(last);
    first->start();
    second->start();
    int visits = 0;
    for (int i = 0; i < kParcels; ++i) {
        sp<Parcel> parcel = new Parcel(&destroyed);
        parcel->bytes[0] = i;
        visits += parcel->visits;
        sp<AMessage> message = new AMessage(i, middle);
        message->setObject("parcel", parcel);
        parcel.clear();
        message->post();
    }
    sp<AHandler> barrier = new FunctionHandler([](const sp<AMessage>& msg) { reply(msg, OK); });
    first->registerHandler(barrier);
    sp<AMessage> response;
    EXPECT_EQ(OK, (new AMessage(0, barrier))->postAndAwaitResponse(&response));
    EXPECT_EQ(OK, (new AMessage(0, last))->postAndAwaitResponse(&response));
    first->stop();
    second->stop();
    EXPECT_EQ(0, visits);
    EXPECT_EQ(kParcels, destroyed);
}

// A reference that only reads, dropped without any other order to the destructor.
TEST(ObjectHandoverTest, AReaderMayLetGoBeforeOrAfterTheOwner) {
    constexpr int kParcels = 500;
    std::atomic<int> destroyed{0};
    for (int i = 0; i < kParcels; ++i) {
        sp<Parcel> parcel = new Parcel(&destroyed);
        parcel->bytes[0] = i;
        sp<Parcel> shared = parcel;
        int seen = -1;
        std::thread reader([&seen, shared = std::move(shared)]() mutable {
            seen = shared->bytes[0];
            shared.clear();
        });
        parcel.clear();
        reader.join();
        EXPECT_EQ(i, seen);
    }
    EXPECT_EQ(kParcels, destroyed);
}

}  // namespace
}  // namespace android
