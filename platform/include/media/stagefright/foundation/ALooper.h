// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/ABase.h>
#include <media/stagefright/foundation/AString.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>
#include <utils/threads.h>

#include <memory>

namespace android {

struct AHandler;
struct AMessage;
struct AReplyToken;

// A queue of messages and a thread that delivers them, in order of their due times, equal times in
// the order of posting, one at a time. All calls are thread-safe except setName.
struct ALooper : public RefBase {
    typedef int32_t event_id;
    typedef int32_t handler_id;

    ALooper();

    // Names the thread of the next start (its first 15 characters); without a name it is "ALooper".
    void setName(const char* name);
    const char* getName() const { return mName.c_str(); }

    // Gives the handler its id and its looper. A handler that is registered already is fatal; the
    // looper does not keep it alive.
    handler_id registerHandler(const sp<AHandler>& handler);
    // Harmless for an id that is not registered. Messages that were built before still arrive.
    void unregisterHandler(handler_id handlerID);

    // Starts the thread, or delivers on the calling thread until stop(). INVALID_OPERATION when
    // started already. A priority below the default takes effect, one above it only with the right
    // to it. `canCallJava` has no meaning here.
    status_t start(bool runOnCallingThread = false, bool canCallJava = false,
                   int32_t priority = PRIORITY_DEFAULT);

    // Ends the loop after the message that is being delivered, waits for the thread (unless called
    // on it, or start() runs on a calling thread) and releases everybody who waits for a reply.
    // Messages in the queue stay for a later start. INVALID_OPERATION when not started.
    status_t stop();

    // CLOCK_MONOTONIC in microseconds.
    static int64_t GetNowUs();

  protected:
    // Stops. On the looper's own thread that is safe too: the loop ends after the current message.
    ~ALooper() override;

  private:
    friend struct AMessage;

    struct Core;

    void post(const sp<AMessage>& msg, int64_t delayUs);
    sp<AReplyToken> createReplyToken();
    // Waits for the reply; -ENOENT when the looper has no thread (any more).
    status_t awaitResponse(const sp<AReplyToken>& replyToken, sp<AMessage>* response);
    // -EBUSY when the token has its reply already.
    status_t postReply(const sp<AReplyToken>& replyToken, const sp<AMessage>& msg);

    AString mName;
    // Shared with the thread, which may outlive the looper by the rest of one message.
    const std::shared_ptr<Core> mCore;

    DISALLOW_EVIL_CONSTRUCTORS(ALooper);
};

}  // namespace android
