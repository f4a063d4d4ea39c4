// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>

#include <condition_variable>

#include "support/Test.h"

namespace oxa::test {

// Something that happens on another thread, at most once.
class Signal {
  public:
    void raise() {
        std::lock_guard<std::mutex> lock(mLock);
        mRaised = true;
        mCondition.notify_all();
    }

    // False when it did not happen within a time that, by default, only a hang can need.
    [[nodiscard]] bool wait(std::chrono::milliseconds timeout = std::chrono::seconds(30)) {
        std::unique_lock<std::mutex> lock(mLock);
        return mCondition.wait_for(lock, timeout, [this] { return mRaised; });
    }

  private:
    std::mutex mLock;
    std::condition_variable mCondition;
    bool mRaised = false;
};

// A handler made of a function.
class FunctionHandler : public android::AHandler {
  public:
    using Function = std::function<void(const android::sp<android::AMessage>&)>;

    explicit FunctionHandler(Function function) : mFunction(std::move(function)) {}

  protected:
    void onMessageReceived(const android::sp<android::AMessage>& msg) override { mFunction(msg); }

  private:
    const Function mFunction;
};

// An object that counts its end.
class Tracked : public android::RefBase {
  public:
    explicit Tracked(std::atomic<int>* destroyed) : mDestroyed(destroyed) {}

  protected:
    ~Tracked() override { ++*mDestroyed; }

  private:
    std::atomic<int>* const mDestroyed;
};

// Answers a request with an item "err", as the library's handlers do.
inline android::status_t reply(const android::sp<android::AMessage>& request, int32_t err) {
    android::sp<android::AReplyToken> token;
    if (!request->senderAwaitsResponse(&token)) return android::INVALID_OPERATION;
    android::sp<android::AMessage> response = new android::AMessage;
    response->setInt32("err", err);
    return response->postReply(token);
}

}  // namespace oxa::test
