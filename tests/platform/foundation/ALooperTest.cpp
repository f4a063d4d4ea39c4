// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <media/stagefright/foundation/AHandlerReflector.h>
#include <media/stagefright/foundation/ALooperRoster.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "foundation/TimerSlack.h"
#include "platform/foundation/LooperTestKit.h"

namespace android {
namespace {

using oxa::test::FunctionHandler;
using oxa::test::reply;
using oxa::test::Signal;
using oxa::test::Tracked;

constexpr int64_t kHourUs = INT64_C(3600000000);

class ALooperTest : public ::testing::Test {
  protected:
    sp<AHandler> addHandler(FunctionHandler::Function function,
                            std::atomic<int>* destroyed = nullptr) {
        sp<AHandler> handler = new FunctionHandler(std::move(function), destroyed);
        mLooper->registerHandler(handler);
        return handler;
    }

    // A handler that answers every request with OK: a request to it returns after everything that
    // was due before.
    void flush() {
        sp<AHandler> handler = addHandler([](const sp<AMessage>& msg) { reply(msg, OK); });
        sp<AMessage> response;
        ASSERT_EQ(OK, (new AMessage(0, handler))->postAndAwaitResponse(&response));
    }

    sp<ALooper> mLooper = new ALooper;
};

TEST_F(ALooperTest, DeliversInTheOrderOfPosting) {
    std::vector<uint32_t> delivered;  // looper thread only, until it is stopped
    sp<AHandler> handler =
            addHandler([&](const sp<AMessage>& msg) { delivered.push_back(msg->what()); });
    for (uint32_t i = 0; i < 500; ++i) {
        if (i == 250) {
            ASSERT_EQ(OK, mLooper->start());
        }
        ASSERT_EQ(OK, (new AMessage(i, handler))->post(i % 2 == 0 ? 0 : -5));
    }
    flush();
    mLooper->stop();
    ASSERT_EQ(500u, delivered.size());
    EXPECT_TRUE(std::is_sorted(delivered.begin(), delivered.end()));
}

// Whatever the machine does meanwhile: nothing comes before its time, and of two messages the one
// that was certainly due earlier comes earlier.
TEST_F(ALooperTest, DeliversDelayedMessagesInTheOrderOfTheirTimes) {
    constexpr int kCount = 200;
    struct Due {
        int64_t earliestUs;
        int64_t latestUs;
    };
    std::vector<Due> due(kCount);
    struct Delivery {
        uint32_t what;
        int64_t timeUs;
    };
    std::vector<Delivery> delivered;
    Signal all;
    sp<AHandler> handler = addHandler([&](const sp<AMessage>& msg) {
        delivered.push_back({msg->what(), ALooper::GetNowUs()});
        if (delivered.size() == kCount) all.raise();
    });
    for (int i = 0; i < kCount; ++i) {
        int64_t delayUs = i * INT64_C(7919) % 50000;
        due[i].earliestUs = ALooper::GetNowUs() + delayUs;
        ASSERT_EQ(OK, (new AMessage(i, handler))->post(delayUs));
        due[i].latestUs = ALooper::GetNowUs() + delayUs;
    }
    mLooper->start();
    ASSERT_TRUE(all.wait());
    mLooper->stop();
    for (int i = 0; i < kCount; ++i) {
        EXPECT_GE(delivered[i].timeUs, due[delivered[i].what].earliestUs);
        for (int later = i + 1; later < kCount; ++later) {
            EXPECT_LE(due[delivered[i].what].earliestUs, due[delivered[later].what].latestUs);
        }
    }
}

TEST_F(ALooperTest, WakesForAMessageThatIsDueBeforeTheOneItWaitsFor) {
    std::vector<uint32_t> delivered;
    sp<AHandler> handler =
            addHandler([&](const sp<AMessage>& msg) { delivered.push_back(msg->what()); });
    (new AMessage(1, handler))->post(INT64_MAX);
    mLooper->start();
    flush();
    (new AMessage(2, handler))->post(kHourUs);
    (new AMessage(3, handler))->post();
    flush();
    mLooper->stop();
    EXPECT_EQ(std::vector<uint32_t>({3}), delivered);
}

TEST_F(ALooperTest, DeliversOneAtATimeWhoeverPosts) {
    constexpr int kThreads = 4;
    constexpr int kMessages = 500;
    std::vector<int> last(kThreads, -1);  // deliberately without a lock
    bool inOrder = true;
    sp<AHandler> handler = addHandler([&](const sp<AMessage>& msg) {
        int32_t number = 0;
        msg->findInt32("number", &number);
        inOrder = inOrder && number == last[msg->what()] + 1;
        last[msg->what()] = number;
    });
    mLooper->start();
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, handler] {
            for (int i = 0; i < kMessages; ++i) {
                sp<AMessage> message = new AMessage(t, handler);
                message->setInt32("number", i);
                message->post();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    flush();
    mLooper->stop();
    EXPECT_TRUE(inOrder);
    EXPECT_EQ(std::vector<int>(kThreads, kMessages - 1), last);
}

TEST_F(ALooperTest, CannotReachALooperThatIsGoneOrWasNotThereYet) {
    sp<AHandler> handler = new FunctionHandler([](const sp<AMessage>&) {});
    sp<AMessage> response = new AMessage;
    sp<AMessage> untouched = response;
    sp<AMessage> early = new AMessage(1, handler);
    mLooper->registerHandler(handler);
    sp<AMessage> message = new AMessage(1, handler);
    mLooper->start();
    EXPECT_EQ(OK, message->post());
    EXPECT_EQ(-ENOENT, early->post());
    sp<AMessage> homeless = new AMessage(1, nullptr);
    EXPECT_EQ(-ENOENT, homeless->post());
    early->setTarget(handler);
    EXPECT_EQ(OK, early->post());
    flush();
    early->setTarget(nullptr);
    EXPECT_EQ(-ENOENT, early->post());

    EXPECT_EQ(mLooper.get(), handler->looper().get());
    mLooper->stop();  // its thread may still hold it for the answer of flush()
    mLooper.clear();
    EXPECT_EQ(nullptr, handler->looper().get());
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(-ENOENT, message->post());
    EXPECT_EQ(-ENOENT, message->postAndAwaitResponse(&response));
    std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, log.find("failed to post message as target looper for handler " +
                                          std::to_string(handler->id()) + " is gone."));
    EXPECT_EQ(untouched.get(), response.get());
}

TEST_F(ALooperTest, HoldsHandlersWeaklyInTheQueueAndStronglyDuringDelivery) {
    std::atomic<int> destroyed{0};
    std::atomic<int> destroyedDuringDelivery{-1};
    int delivered = 0;
    Signal entered;
    Signal released;
    sp<AHandler> handler = addHandler(
            [&](const sp<AMessage>&) {
                ++delivered;
                entered.raise();
                if (released.wait()) destroyedDuringDelivery = destroyed.load();
            },
            &destroyed);
    (new AMessage(1, handler))->post();
    (new AMessage(2, handler))->post();
    mLooper->start();
    ASSERT_TRUE(entered.wait());
    handler.clear();
    released.raise();
    flush();
    mLooper->stop();
    EXPECT_EQ(0, destroyedDuringDelivery);
    EXPECT_EQ(1, destroyed);
    EXPECT_EQ(1, delivered) << "the second message has no receiver any more";
}

TEST_F(ALooperTest, UnregistersHandlersButDeliversWhatWasBuiltBefore) {
    std::vector<uint32_t> delivered;
    sp<AHandler> handler =
            addHandler([&](const sp<AMessage>& msg) { delivered.push_back(msg->what()); });
    ALooper::handler_id firstId = handler->id();
    sp<AMessage> before = new AMessage(1, handler);
    mLooper->unregisterHandler(firstId);
    mLooper->unregisterHandler(firstId);
    EXPECT_EQ(0, handler->id());
    EXPECT_EQ(nullptr, handler->looper().get());
    sp<AMessage> after = new AMessage(2, handler);

    mLooper->start();
    EXPECT_EQ(OK, before->post());
    EXPECT_EQ(-ENOENT, after->post());
    flush();
    EXPECT_GT(mLooper->registerHandler(handler), firstId) << "ids are not used twice";
    mLooper->unregisterHandler(firstId);  // names nobody any more
    EXPECT_EQ(OK, (new AMessage(3, handler))->post());
    flush();
    mLooper->stop();
    EXPECT_EQ(std::vector<uint32_t>({1, 3}), delivered);
}

TEST_F(ALooperTest, RefusesAHandlerThatIsRegistered) {
    sp<AHandler> handler = addHandler([](const sp<AMessage>&) {});
    EXPECT_DEATH((new ALooper)->registerHandler(handler),
                 "CHECK\\(!\"A handler must only be registered once.\"\\) failed\\.");
}

TEST_F(ALooperTest, TakesOneReplyFromAnyThreadAndRefusesTheRest) {
    sp<AReplyToken> token;  // handed over by taken
    bool plainIsRequest = true;
    bool repeatedIsRequest = true;
    Signal taken;
    sp<AHandler> handler = addHandler([&](const sp<AMessage>& msg) {
        sp<AReplyToken> none;
        if (msg->what() == 1) {
            plainIsRequest = msg->senderAwaitsResponse(&none);
            return;
        }
        msg->senderAwaitsResponse(&token);
        repeatedIsRequest = msg->senderAwaitsResponse(&none);
        taken.raise();
    });
    mLooper->start();
    status_t first = UNKNOWN_ERROR;
    status_t second = UNKNOWN_ERROR;
    std::thread replier([&] {
        if (!taken.wait()) return;
        first = (new AMessage(1, nullptr))->postReply(token);
        second = (new AMessage(2, nullptr))->postReply(token);
    });
    (new AMessage(1, handler))->post();
    sp<AMessage> response;
    EXPECT_EQ(OK, (new AMessage(0, handler))->postAndAwaitResponse(&response));
    replier.join();
    EXPECT_FALSE(plainIsRequest);
    EXPECT_FALSE(repeatedIsRequest) << "the token can be taken once";
    EXPECT_EQ(1u, response->what());
    EXPECT_EQ(OK, first);
    EXPECT_EQ(-EBUSY, second);
    EXPECT_EQ(-ENOENT, response->postReply(nullptr));
    mLooper.clear();
    EXPECT_EQ(-ENOENT, response->postReply(token));
}

TEST_F(ALooperTest, ServesManyWaitingCallersAtOnce) {
    constexpr int kCallers = 8;
    std::vector<sp<AMessage>> requests;
    sp<AHandler> handler = addHandler([&](const sp<AMessage>& msg) {
        requests.push_back(msg);
        if (requests.size() < kCallers) return;
        // Answered in the reverse order: each answer must reach its own caller.
        for (auto request = requests.rbegin(); request != requests.rend(); ++request) {
            reply(*request, static_cast<int32_t>((*request)->what()));
        }
    });
    mLooper->start();
    std::vector<std::thread> callers;
    std::vector<int32_t> answers(kCallers, -1);
    for (int i = 0; i < kCallers; ++i) {
        callers.emplace_back([i, handler, answer = &answers[i]] {
            sp<AMessage> response;
            if ((new AMessage(i, handler))->postAndAwaitResponse(&response) == OK) {
                response->findInt32("err", answer);
            }
        });
    }
    for (std::thread& caller : callers)
        caller.join();
    mLooper->stop();
    for (int i = 0; i < kCallers; ++i)
        EXPECT_EQ(i, answers[i]);
}

TEST_F(ALooperTest, ReleasesAWaitingCallerWhenStopped) {
    Signal received;
    sp<AHandler> handler = addHandler([&](const sp<AMessage>&) { received.raise(); });
    mLooper->start();
    sp<AMessage> response;
    status_t result = OK;
    std::thread caller(
            [&] { result = (new AMessage(0, handler))->postAndAwaitResponse(&response); });
    EXPECT_TRUE(received.wait());
    EXPECT_EQ(OK, mLooper->stop());
    caller.join();
    EXPECT_EQ(-ENOENT, result);
    EXPECT_EQ(nullptr, response.get());
}

TEST_F(ALooperTest, PrefersAReplyThatWasPostedToTheStop) {
    for (int i = 0; i < 50; ++i) {
        Signal stopped;
        sp<AHandler> handler = addHandler([&](const sp<AMessage>& msg) {
            reply(msg, OK);
            mLooper->stop();
            stopped.raise();
        });
        ASSERT_EQ(OK, mLooper->start());
        sp<AMessage> response;
        ASSERT_EQ(OK, (new AMessage(0, handler))->postAndAwaitResponse(&response));
        ASSERT_TRUE(stopped.wait());
    }
}

TEST_F(ALooperTest, DoesNotWaitForALooperWithoutAThread) {
    int delivered = 0;
    sp<AHandler> handler = addHandler([&](const sp<AMessage>& msg) {
        ++delivered;
        if (msg->what() == 1) mLooper->stop();
    });
    sp<AMessage> response;
    EXPECT_EQ(-ENOENT, (new AMessage(0, handler))->postAndAwaitResponse(&response));
    EXPECT_EQ(0, delivered);
    mLooper->start();
    flush();
    mLooper->stop();
    EXPECT_EQ(1, delivered) << "the request itself stays in the queue";
}

TEST_F(ALooperTest, RunsOnTheCallingThreadUntilStopped) {
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
    EXPECT_EQ(OK, mLooper->start(true));
    EXPECT_EQ(std::this_thread::get_id(), thread);
    EXPECT_EQ(std::vector<status_t>({INVALID_OPERATION, -ENOENT, OK, INVALID_OPERATION}), results);

    // A thread of its own serves requests again.
    mLooper->unregisterHandler(handler->id());
    handler.clear();
    EXPECT_EQ(OK, mLooper->start());
    flush();
}

TEST_F(ALooperTest, IsStoppedOnTheCallingThreadByAnother) {
    Signal delivered;
    sp<AHandler> handler = addHandler([&](const sp<AMessage>&) { delivered.raise(); });
    std::thread stopper([&] {
        (new AMessage(0, handler))->post();
        EXPECT_TRUE(delivered.wait());
        EXPECT_EQ(OK, mLooper->stop());
    });
    EXPECT_EQ(OK, mLooper->start(true));
    stopper.join();
}

TEST_F(ALooperTest, StartsAndStopsOnceAndKeepsItsQueueBetween) {
    std::atomic<int> delivered{0};
    std::atomic<int> destroyed{0};
    sp<AHandler> handler = addHandler([&](const sp<AMessage>&) { ++delivered; });
    EXPECT_EQ(INVALID_OPERATION, mLooper->stop());
    EXPECT_EQ(OK, mLooper->start());
    EXPECT_EQ(INVALID_OPERATION, mLooper->start());
    EXPECT_EQ(INVALID_OPERATION, mLooper->start(true));
    EXPECT_EQ(OK, mLooper->stop());
    EXPECT_EQ(INVALID_OPERATION, mLooper->stop());

    EXPECT_EQ(OK, (new AMessage(0, handler))->post());
    EXPECT_EQ(OK, mLooper->start());
    flush();
    EXPECT_EQ(OK, mLooper->stop());
    EXPECT_EQ(1, delivered);

    sp<AMessage> message = new AMessage(0, handler);
    message->setObject("object", new Tracked(&destroyed));
    EXPECT_EQ(OK, message->post());
    message.clear();
    EXPECT_EQ(0, destroyed);
    mLooper.clear();
    EXPECT_EQ(1, destroyed);
    EXPECT_EQ(1, delivered);
}

TEST_F(ALooperTest, StopWaitsForTheMessageThatIsBeingDelivered) {
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
    EXPECT_EQ(OK, mLooper->stop());
    EXPECT_TRUE(finished);
    releaser.join();
}

TEST_F(ALooperTest, StopsFromItsOwnThreadAfterTheCurrentMessage) {
    std::vector<uint32_t> delivered;
    status_t stopped = UNKNOWN_ERROR;
    Signal first;
    Signal second;
    sp<AHandler> handler = addHandler([&](const sp<AMessage>& msg) {
        delivered.push_back(msg->what());
        if (msg->what() == 2) {
            second.raise();
            return;
        }
        stopped = mLooper->stop();
        first.raise();
    });
    (new AMessage(1, handler))->post();
    (new AMessage(2, handler))->post();
    mLooper->start();
    ASSERT_TRUE(first.wait());
    EXPECT_EQ(OK, stopped);
    EXPECT_EQ(INVALID_OPERATION, mLooper->stop());
    EXPECT_FALSE(second.raised());
    EXPECT_EQ(OK, mLooper->start());
    EXPECT_TRUE(second.wait());
    mLooper->stop();
    EXPECT_EQ(std::vector<uint32_t>({1, 2}), delivered);
}

// The new thread must wait until the handler that restarted the looper has returned.
TEST_F(ALooperTest, DeliversOneAtATimeAlsoWhenAHandlerRestartsIt) {
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
            EXPECT_EQ(OK, mLooper->stop());
            EXPECT_EQ(OK, mLooper->start());
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
TEST_F(ALooperTest, SurvivesItsLastReferenceBeingDroppedOnItsOwnThread) {
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
    EXPECT_EQ(1, destroyedWithLooper) << "what was in the queue goes with the looper";
    EXPECT_EQ(-ENOENT, message->post());
}

TEST_F(ALooperTest, NamesItsThreadAndLowersItsPriority) {
    struct ThreadFacts {
        char name[16] = {};
        int slackNs = 0;
        int relaxedNs = 0;
        int niceness = 0;
    };
    ThreadFacts facts;
    sp<AHandler> handler = addHandler([&](const sp<AMessage>& msg) {
        prctl(PR_GET_NAME, facts.name);
        facts.slackNs = prctl(PR_GET_TIMERSLACK);
        relaxLooperSlack();
        facts.relaxedNs = prctl(PR_GET_TIMERSLACK);
        facts.niceness = getpriority(PRIO_PROCESS, 0);
        reply(msg, OK);
    });
    auto ask = [&](int32_t priority) {
        EXPECT_EQ(OK, mLooper->start(false, true, priority));
        sp<AMessage> response;
        EXPECT_EQ(OK, (new AMessage(0, handler))->postAndAwaitResponse(&response));
        mLooper->stop();
        return facts;
    };
    int niceness = getpriority(PRIO_PROCESS, 0);
    EXPECT_STREQ("ALooper", ask(PRIORITY_DEFAULT).name);
    EXPECT_EQ(niceness, facts.niceness);
    EXPECT_EQ(500000, facts.slackNs);
    EXPECT_EQ(4000000, facts.relaxedNs);

    mLooper->setName("a name of more than fifteen characters");
    EXPECT_STREQ("a name of more than fifteen characters", mLooper->getName());
    int lower = std::min(niceness + 3, 19);
    EXPECT_STREQ("a name of more ", ask(lower).name);
    EXPECT_EQ(lower, facts.niceness);
    // Only looper threads are less exact.
    const int ownNs = prctl(PR_GET_TIMERSLACK);
    EXPECT_NE(500000, ownNs);
    relaxLooperSlack();
    EXPECT_EQ(ownNs, prctl(PR_GET_TIMERSLACK));
}

TEST_F(ALooperTest, ReflectsMessagesToAnObjectThatLives) {
    struct Target : public RefBase {
        void onMessageReceived(const sp<AMessage>& msg) { reply(msg, ++count); }
        int count = 0;
    };
    sp<Target> target = new Target;
    sp<AHandler> reflector = new AHandlerReflector<Target>(target.get());
    mLooper->registerHandler(reflector);
    mLooper->start();
    sp<AMessage> response;
    ASSERT_EQ(OK, (new AMessage(0, reflector))->postAndAwaitResponse(&response));
    int32_t count = 0;
    EXPECT_TRUE(response->findInt32("err", &count));
    EXPECT_EQ(1, count);

    target.clear();
    EXPECT_EQ(OK, (new AMessage(0, reflector))->post());
    flush();
    mLooper->stop();
}

}  // namespace
}  // namespace android
