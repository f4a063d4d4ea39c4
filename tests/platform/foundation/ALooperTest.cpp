// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <sys/prctl.h>
#include <sys/resource.h>

#include "foundation/TimerSlack.h"
#include "platform/foundation/LooperTestKit.h"
#include "support/Test.h"

namespace android {
namespace {

using namespace oxa::test;

constexpr int64_t kHourUs = INT64_C(3600000000);

class ALooperTest : public ::testing::Test {
  protected:
    sp<AHandler> addHandler(FunctionHandler::Function function) {
        sp<AHandler> handler = new FunctionHandler(std::move(function));
        mLooper->registerHandler(handler);
        return handler;
    }

    // A handler that answers every request with OK: a request to it returns after everything that
    // was due before.
    void flush() {
        sp<AHandler> handler = addHandler([](const sp<AMessage>& msg) { reply(msg, OK); });
        sp<AMessage> response;
        ASSERT_EQ((new AMessage(0, handler))->postAndAwaitResponse(&response), OK);
    }

    sp<ALooper> mLooper = new ALooper;
};

// Whatever the machine does meanwhile: nothing comes before its time, and of two messages the one
// that was certainly due earlier comes earlier.
TEST_F(ALooperTest, deliversDelayedMessagesInTheOrderOfTheirTimes) {
    constexpr size_t kCount = 200;
    struct Due {
        int64_t earliestUs, latestUs;
    };
    std::vector<Due> due(kCount);
    std::vector<Due> delivered;
    Signal all;
    sp<AHandler> handler = addHandler([&](const sp<AMessage>& msg) {
        delivered.push_back(due[msg->what()]);
        EXPECT_GE(ALooper::GetNowUs(), delivered.back().earliestUs);
        if (delivered.size() == kCount) all.raise();
    });
    for (size_t i = 0; i < kCount; ++i) {
        const int64_t delayUs = static_cast<int64_t>(i) * 7919 % 50000;
        due[i].earliestUs = ALooper::GetNowUs() + delayUs;
        ASSERT_EQ((new AMessage(i, handler))->post(delayUs), OK);
        due[i].latestUs = ALooper::GetNowUs() + delayUs;
    }
    mLooper->start();
    ASSERT_TRUE(all.wait());
    mLooper->stop();
    for (size_t i = 0; i < kCount; ++i) {
        for (size_t later = i + 1; later < kCount; ++later)
            EXPECT_LE(delivered[i].earliestUs, delivered[later].latestUs);
    }
}

TEST_F(ALooperTest, wakesForAMessageThatIsDueBeforeTheOneItWaitsFor) {
    std::vector<uint32_t> delivered;
    Signal last;
    sp<AHandler> handler = addHandler([&](const sp<AMessage>& msg) {
        delivered.push_back(msg->what());
        if (msg->what() == 5) last.raise();
    });
    (new AMessage(1, handler))->post(INT64_MAX);
    mLooper->start();
    flush();
    (new AMessage(2, handler))->post(kHourUs);
    (new AMessage(3, handler))->post();
    (new AMessage(4, handler))->post(-5);
    (new AMessage(5, handler))->post(100000);
    flush();
    EXPECT_TRUE(last.wait());
    mLooper->stop();
    EXPECT_EQ(delivered, std::vector<uint32_t>({3, 4, 5}));
}

TEST_F(ALooperTest, cannotReachALooperThatIsGone) {
    sp<AHandler> handler = addHandler([](const sp<AMessage>&) {});
    sp<AMessage> message = new AMessage(1, handler);
    EXPECT_EQ(mLooper.get(), handler->looper().get());
    mLooper.clear();
    EXPECT_EQ(handler->looper().get(), nullptr);
    sp<AMessage> response = message;
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(message->post(), -ENOENT);
    EXPECT_EQ(message->postAndAwaitResponse(&response), -ENOENT);
    std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, log.find("failed to post message as target looper for handler " +
                                          std::to_string(handler->id()) + " is gone."));
    EXPECT_EQ(message.get(), response.get()) << "there is no response";
}

TEST_F(ALooperTest, holdsHandlersWeaklyInTheQueueAndStronglyDuringDelivery) {
    std::atomic<int> destroyed{0};
    int destroyedDuringDelivery = -1;
    int delivered = 0;
    Signal entered;
    Signal released;
    sp<AHandler> handler =
            addHandler([&, owned = sp<Tracked>(new Tracked(&destroyed))](const sp<AMessage>&) {
                ++delivered;
                entered.raise();
                if (released.wait()) destroyedDuringDelivery = destroyed;
            });
    (new AMessage(1, handler))->post();
    (new AMessage(2, handler))->post();
    mLooper->start();
    ASSERT_TRUE(entered.wait());
    handler.clear();
    released.raise();
    flush();
    mLooper->stop();
    EXPECT_EQ(destroyedDuringDelivery, 0);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(delivered, 1) << "the second message has no receiver any more";
}

TEST_F(ALooperTest, registersHandlersOnceAndDeliversWhatWasBuiltMeanwhile) {
    std::vector<uint32_t> delivered;
    sp<AHandler> handler =
            new FunctionHandler([&](const sp<AMessage>& msg) { delivered.push_back(msg->what()); });
    sp<AMessage> early = new AMessage(1, handler);
    ALooper::handler_id firstId = mLooper->registerHandler(handler);
    EXPECT_DEATH((new ALooper)->registerHandler(handler),
                 "CHECK\\(!\"A handler must only be registered once.\"\\) failed\\.");
    sp<AMessage> meanwhile = new AMessage(2, handler);
    mLooper->unregisterHandler(firstId);
    mLooper->unregisterHandler(firstId);
    EXPECT_EQ(handler->id(), 0);
    EXPECT_EQ(handler->looper().get(), nullptr);
    sp<AMessage> late = new AMessage(3, handler);

    mLooper->start();
    EXPECT_EQ(early->post(), -ENOENT);
    EXPECT_EQ(meanwhile->post(), OK);
    EXPECT_EQ(late->post(), -ENOENT);
    EXPECT_GT(mLooper->registerHandler(handler), firstId) << "ids are not used twice";
    mLooper->unregisterHandler(firstId);  // names nobody any more
    early->setTarget(handler);
    EXPECT_EQ(early->post(), OK);
    flush();
    early->setTarget(nullptr);
    EXPECT_EQ(early->post(), -ENOENT);
    mLooper->stop();
    EXPECT_EQ(delivered, std::vector<uint32_t>({2, 1}));
}

TEST_F(ALooperTest, takesOneReplyFromAnyThreadAndRefusesTheRest) {
    sp<AReplyToken> token;  // handed over by taken
    std::vector<bool> areRequests;
    Signal taken;
    sp<AHandler> handler = addHandler([&](const sp<AMessage>& msg) {
        sp<AReplyToken> none;
        areRequests.push_back(msg->senderAwaitsResponse(&token));
        areRequests.push_back(msg->senderAwaitsResponse(&none));
        if (areRequests.size() == 4) taken.raise();
    });
    mLooper->start();
    std::thread replier([&] {
        if (!taken.wait()) return;
        EXPECT_EQ((new AMessage(1, nullptr))->postReply(token), OK);
        EXPECT_EQ((new AMessage(2, nullptr))->postReply(token), -EBUSY);
    });
    (new AMessage(1, handler))->post();
    sp<AMessage> response;
    EXPECT_EQ((new AMessage(0, handler))->postAndAwaitResponse(&response), OK);
    replier.join();
    EXPECT_EQ(areRequests, std::vector<bool>({false, false, true, false}))
            << "the token can be taken once";
    EXPECT_EQ(response->what(), 1u);
    EXPECT_EQ(response->postReply(nullptr), -ENOENT);
    mLooper.clear();
    EXPECT_EQ(response->postReply(token), -ENOENT);
}

TEST_F(ALooperTest, answersEachWaitingCallerAndReleasesTheRestWhenStopped) {
    constexpr int kCallers = 8;
    constexpr int kAnswered = 4;
    std::vector<sp<AMessage>> requests(kCallers);
    int received = 0;
    Signal all;
    sp<AHandler> handler = addHandler([&](const sp<AMessage>& msg) {
        requests[msg->what()] = msg;
        if (++received < kCallers) return;
        for (int i = 0; i < kAnswered; ++i)
            reply(requests[i], i);
        all.raise();
    });
    mLooper->start();
    std::vector<std::thread> callers;
    for (int i = 0; i < kCallers; ++i) {
        callers.emplace_back([i, handler] {
            sp<AMessage> response;
            status_t result = (new AMessage(i, handler))->postAndAwaitResponse(&response);
            EXPECT_EQ(i < kAnswered ? OK : -ENOENT, result);
            ASSERT_EQ(i < kAnswered, response != nullptr);
            int32_t answer = i;
            if (response != nullptr) response->findInt32("err", &answer);
            EXPECT_EQ(i, answer);
        });
    }
    EXPECT_TRUE(all.wait());
    EXPECT_EQ(mLooper->stop(), OK);
    for (std::thread& caller : callers)
        caller.join();
}

TEST_F(ALooperTest, runsOnTheCallingThreadUntilStopped) {
    std::vector<status_t> results;
    std::thread::id thread;
    sp<AHandler> handler = addHandler([&](const sp<AMessage>& msg) {
        thread = std::this_thread::get_id();
        results.push_back(mLooper->start());
        sp<AMessage> response;
        results.push_back(msg->dup()->postAndAwaitResponse(&response));
        results.push_back(mLooper->stop());
        results.push_back(mLooper->stop());
    });
    (new AMessage(0, handler))->post();
    EXPECT_EQ(mLooper->stop(), INVALID_OPERATION);
    EXPECT_EQ(mLooper->start(true), OK);
    EXPECT_EQ(std::this_thread::get_id(), thread);
    EXPECT_EQ(results, std::vector<status_t>({INVALID_OPERATION, -ENOENT, OK, INVALID_OPERATION}));

    // A thread of its own serves requests again.
    handler.clear();
    EXPECT_EQ(mLooper->start(), OK);
    EXPECT_EQ(mLooper->start(), INVALID_OPERATION);
    EXPECT_EQ(mLooper->start(true), INVALID_OPERATION);
    flush();
}

TEST_F(ALooperTest, stopWaitsForTheMessageThatIsBeingDelivered) {
    Signal entered;
    Signal go;
    bool finished = false;  // without a lock: stop() must be the order
    sp<AHandler> handler = addHandler([&](const sp<AMessage>&) {
        entered.raise();
        finished = go.wait();
    });
    mLooper->start();
    (new AMessage(0, handler))->post();
    ASSERT_TRUE(entered.wait());
    std::thread releaser([&] { go.raise(); });
    EXPECT_EQ(mLooper->stop(), OK);
    EXPECT_TRUE(finished);
    releaser.join();
}

// Its reply still arrives, and what is queued behind it waits for the next start.
TEST_F(ALooperTest, stopsFromItsOwnThreadAfterTheCurrentMessage) {
    for (int i = 0; i < 50; ++i) {
        int delivered = 0;
        Signal stopped;
        sp<AHandler> handler;
        handler = addHandler([&](const sp<AMessage>& msg) {
            ++delivered;
            if (reply(msg, OK) != OK) return;
            (new AMessage(1, handler))->post();
            EXPECT_EQ(mLooper->stop(), OK);
            stopped.raise();
        });
        ASSERT_EQ(mLooper->start(), OK);
        sp<AMessage> response;
        ASSERT_EQ((new AMessage(0, handler))->postAndAwaitResponse(&response), OK);
        ASSERT_TRUE(stopped.wait());
        EXPECT_EQ(mLooper->stop(), INVALID_OPERATION);
        EXPECT_EQ(delivered, 1);
        EXPECT_EQ(mLooper->start(), OK);
        flush();
        EXPECT_EQ(mLooper->stop(), OK);
        EXPECT_EQ(delivered, 2);
    }
}

// The new thread must wait until the handler that restarted the looper has returned.
TEST_F(ALooperTest, deliversOneAtATimeAlsoWhenAHandlerRestartsIt) {
    Signal second;
    bool overlapped = true;
    sp<AHandler> handler;
    handler = addHandler([&](const sp<AMessage>& msg) {
        if (msg->what() == 2) {
            second.raise();
            return;
        }
        (new AMessage(2, handler))->post();
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(mLooper->stop(), OK);
            EXPECT_EQ(mLooper->start(), OK);
        }
        // Long enough for a thread that does not wait; nobody depends on it otherwise.
        overlapped = second.wait(std::chrono::milliseconds(50));
    });
    mLooper->start();
    (new AMessage(1, handler))->post();
    ASSERT_TRUE(second.wait());
    mLooper->stop();
    EXPECT_FALSE(overlapped);
}

// A pipeline may lose its last reference, and with it its looper, while its own callback runs.
TEST_F(ALooperTest, survivesItsLastReferenceBeingDroppedOnItsOwnThread) {
    std::atomic<int> destroyed{0};
    int destroyedWithLooper = 0;
    Signal posted;
    Signal dropped;
    sp<AHandler> handler = addHandler([&](const sp<AMessage>&) {
        EXPECT_TRUE(posted.wait());
        mLooper.clear();
        destroyedWithLooper = destroyed;
        dropped.raise();
    });
    sp<AMessage> message = new AMessage(1, handler);
    sp<AMessage> undelivered = new AMessage(2, handler);
    undelivered->setObject("object", new Tracked(&destroyed));
    undelivered->post(kHourUs);
    undelivered.clear();
    mLooper->start();
    message->post();
    posted.raise();
    ASSERT_TRUE(dropped.wait());
    EXPECT_EQ(destroyedWithLooper, 1) << "what was in the queue goes with the looper";
    EXPECT_EQ(message->post(), -ENOENT);
}

TEST_F(ALooperTest, namesItsThreadAndLowersItsPriority) {
    char name[16] = {};
    int niceness = 0;
    int slackNs = 0;
    int relaxedNs = 0;
    sp<AHandler> handler = addHandler([&](const sp<AMessage>&) {
        prctl(PR_GET_NAME, name);
        niceness = getpriority(PRIO_PROCESS, 0);
        slackNs = prctl(PR_GET_TIMERSLACK);
        relaxLooperSlack();
        relaxedNs = prctl(PR_GET_TIMERSLACK);
    });
    auto runAt = [&](int32_t priority) {
        (new AMessage(0, handler))->post();
        EXPECT_EQ(mLooper->start(false, true, priority), OK);
        flush();
        mLooper->stop();
    };
    const int ownNiceness = getpriority(PRIO_PROCESS, 0);
    runAt(PRIORITY_DEFAULT);
    EXPECT_STREQ(name, "ALooper");
    EXPECT_EQ(niceness, ownNiceness);
    EXPECT_EQ(slackNs, 500000);
    EXPECT_EQ(relaxedNs, 4000000);

    mLooper->setName("a name of more than fifteen characters");
    EXPECT_STREQ(mLooper->getName(), "a name of more than fifteen characters");
    const int lower = std::min(ownNiceness + 3, 19);
    runAt(lower);
    EXPECT_STREQ(name, "a name of more ");
    EXPECT_EQ(niceness, lower);
    // Only looper threads are less exact.
    const int ownNs = prctl(PR_GET_TIMERSLACK);
    EXPECT_NE(ownNs, 500000);
    relaxLooperSlack();
    EXPECT_EQ(prctl(PR_GET_TIMERSLACK), ownNs);
}

// A plain field: only the way from hand to hand orders who reads and writes it.
struct Parcel : public Tracked {
    explicit Parcel(std::atomic<int>* destroyed) : Tracked(destroyed) {}
    ~Parcel() override { number = -1; }

    int number = 0;
};

// An object ends on whichever thread lets go last, without any other order between a reader and the
// destructor. Mainly for the thread sanitizer: it must find nothing here, and needs to be told of
// the reference counts for that.
TEST(ObjectHandoverTest, aReaderMayLetGoBeforeOrAfterTheOwner) {
    constexpr int kParcels = 500;
    std::atomic<int> destroyed{0};
    for (int i = 0; i < kParcels; ++i) {
        sp<Parcel> parcel = new Parcel(&destroyed);
        parcel->number = i;
        std::thread reader([i, shared = parcel]() mutable {
            EXPECT_EQ(i, shared->number);
            shared.clear();
        });
        parcel.clear();
        reader.join();
    }
    EXPECT_EQ(destroyed, kParcels);
}

}  // namespace
}  // namespace android
