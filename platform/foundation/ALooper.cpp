// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "ALooper"

#include <media/stagefright/foundation/ALooper.h>

#include <media/stagefright/foundation/ADebug.h>
#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/AMessage.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <algorithm>
#include <deque>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "base/Monotonic.h"
#include "base/SessionState.h"
#include "foundation/LooperRoster.h"
#include "foundation/TimerSlack.h"

namespace android {

namespace {

constexpr int64_t kMaxWaitUs = INT64_MAX / 1000;

void prepareThread(const char* name, int32_t priority) {
    prctl(PR_SET_NAME, name);
    setLooperSlack();
    // Raising the priority needs a right that most processes lack; then it stays as it is.
    if (priority != PRIORITY_DEFAULT) setpriority(PRIO_PROCESS, 0, priority);
}

}  // namespace

struct ALooper::Core {
    struct Event {
        int64_t whenUs;
        sp<AMessage> message;
    };

    // Delivers messages until another run, or none, is the active one.
    void loop(uint64_t run);
    bool hasEventLocked() const REQUIRES(mLock);
    void waitForEventLocked() REQUIRES(mLock);

    Mutex mLock;
    Condition mWake;     // the queue, the run or mDelivering changed
    Condition mReplied;  // a token got its reply, or the run ended

    std::deque<Event> mEvents GUARDED_BY(mLock);  // by time
    uint64_t mLastRun GUARDED_BY(mLock) = 0;
    uint64_t mActiveRun GUARDED_BY(mLock) = 0;  // 0: stopped
    bool mRunsLocally GUARDED_BY(mLock) = false;
    // A looper that was stopped by its own handler and started again has two threads for a moment.
    bool mDelivering GUARDED_BY(mLock) = false;
    std::thread mThread GUARDED_BY(mLock);
};

void ALooper::Core::loop(uint64_t run) {
    mLock.lock();
    while (mActiveRun == run) {
        if (mDelivering || !hasEventLocked()) {
            waitForEventLocked();
            continue;
        }
        sp<AMessage> message = std::move(mEvents.front().message);
        mEvents.pop_front();
        mDelivering = true;
        mLock.unlock();
        message->deliver();
        message.clear();
        mLock.lock();
        mDelivering = false;
    }
    mWake.broadcast();
    mLock.unlock();
}

bool ALooper::Core::hasEventLocked() const {
    return !mEvents.empty() && mEvents.front().whenUs <= GetNowUs();
}

void ALooper::Core::waitForEventLocked() {
    if (mDelivering || mEvents.empty()) {
        mWake.wait(mLock);
        return;
    }
    int64_t delayUs = mEvents.front().whenUs - GetNowUs();
    if (delayUs > 0) mWake.waitRelative(mLock, std::min(delayUs, kMaxWaitUs) * 1000);
}

// static
int64_t ALooper::GetNowUs() {
    return monotonicUs();
}

ALooper::ALooper() : mCore(std::make_shared<Core>()) {
    gLooperRoster.unregisterStaleHandlers();
}

ALooper::~ALooper() {
    stop();
    std::deque<Core::Event> undelivered;
    Mutex::Autolock lock(mCore->mLock);
    undelivered.swap(mCore->mEvents);
}

void ALooper::setName(const char* name) {
    mName = name;
}

ALooper::handler_id ALooper::registerHandler(const sp<AHandler>& handler) {
    return gLooperRoster.registerHandler(this, handler);
}

void ALooper::unregisterHandler(handler_id handlerID) {
    gLooperRoster.unregisterHandler(handlerID);
}

status_t ALooper::start(bool runOnCallingThread, bool /*canCallJava*/, int32_t priority) {
    std::shared_ptr<Core> core = mCore;
    uint64_t run;
    {
        Mutex::Autolock lock(core->mLock);
        if (core->mActiveRun != 0) return INVALID_OPERATION;
        run = ++core->mLastRun;
        if (!runOnCallingThread) {
            std::string name = mName.empty() ? "ALooper" : mName.c_str();
            try {
                core->mThread = std::thread(oxa::host::inSession([core, run, name, priority] {
                    prepareThread(name.c_str(), priority);
                    core->loop(run);
                }));
            } catch (const std::system_error& error) {
                ALOGE("no thread for looper %s: %s", name.c_str(), error.what());
                return UNKNOWN_ERROR;
            }
        }
        core->mActiveRun = run;
        core->mRunsLocally = runOnCallingThread;
    }
    if (runOnCallingThread) core->loop(run);
    return OK;
}

status_t ALooper::stop() {
    std::thread thread;
    {
        Mutex::Autolock lock(mCore->mLock);
        if (mCore->mActiveRun == 0) return INVALID_OPERATION;
        mCore->mActiveRun = 0;
        thread = std::move(mCore->mThread);
        mCore->mWake.broadcast();
        mCore->mReplied.broadcast();
    }
    if (!thread.joinable()) return OK;
    if (thread.get_id() == std::this_thread::get_id()) {
        thread.detach();
    } else {
        thread.join();
    }
    return OK;
}

void ALooper::post(const sp<AMessage>& msg, int64_t delayUs) {
    int64_t nowUs = GetNowUs();
    int64_t whenUs = delayUs <= 0 ? nowUs : nowUs + std::min(delayUs, INT64_MAX - nowUs);

    bool isNext;
    {
        Mutex::Autolock lock(mCore->mLock);
        auto& events = mCore->mEvents;
        auto later = std::upper_bound(
                events.begin(), events.end(), whenUs,
                [](int64_t timeUs, const Core::Event& event) { return timeUs < event.whenUs; });
        isNext = later == events.begin();
        events.insert(later, {whenUs, msg});
    }
    // Without the lock, which the woken thread takes first.
    if (isNext) mCore->mWake.broadcast();
}

sp<AReplyToken> ALooper::createReplyToken() {
    return new AReplyToken(this);
}

status_t ALooper::awaitResponse(const sp<AReplyToken>& replyToken, sp<AMessage>* response) {
    Mutex::Autolock lock(mCore->mLock);
    while (!replyToken->mReplied) {
        if (mCore->mActiveRun == 0 || mCore->mRunsLocally) return -ENOENT;
        mCore->mReplied.wait(mCore->mLock);
    }
    *response = std::move(replyToken->mReply);
    return OK;
}

status_t ALooper::postReply(const sp<AReplyToken>& replyToken, const sp<AMessage>& msg) {
    {
        Mutex::Autolock lock(mCore->mLock);
        if (replyToken->mReplied) {
            ALOGE("trying to post a duplicate reply");
            return -EBUSY;
        }
        replyToken->mReply = msg;
        replyToken->mReplied = true;
    }
    mCore->mReplied.broadcast();
    return OK;
}

}  // namespace android
