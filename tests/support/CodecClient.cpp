// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/CodecClient.h"

#include <algorithm>
#include <chrono>
#include <iterator>

namespace oxa::test {

using namespace android;

namespace {

constexpr uint32_t kWhatCallback = 'cb  ';
constexpr uint32_t kWhatBarrier = 'barr';

sp<ALooper> newLooper(const char* name) {
    const sp<ALooper> looper = new ALooper;
    looper->setName(name);
    looper->start();
    return looper;
}

}  // namespace

class CodecClient::Relay : public AHandler {
  public:
    explicit Relay(CodecClient* client) : mClient(client) {}

  protected:
    void onMessageReceived(const sp<AMessage>& msg) override {
        if (msg->what() == kWhatCallback) {
            mClient->record(msg);
            return;
        }
        sp<AReplyToken> token;
        if (msg->senderAwaitsResponse(&token)) (new AMessage)->postReply(token);
    }

  private:
    CodecClient* const mClient;
};

CodecClient::CodecClient(const char* mime, bool encoder)
    : mCodecLooper(newLooper("codec")), mCallbackLooper(newLooper("callbacks")) {
    mCodec = MediaCodec::CreateByType(mCodecLooper, mime, encoder);
    mRelay = new Relay(this);
    mCallbackLooper->registerHandler(mRelay);
}

CodecClient::~CodecClient() {
    stopCallbacks();
    release();
}

void CodecClient::stopCallbacks() {
    if (mCallbacksRun) mCallbackLooper->stop();
    mCallbacksRun = false;
}

void CodecClient::release() {
    if (mCodec != nullptr) mCodec->release();
    mCodec.clear();
}

void CodecClient::setHandler(Handler handler) {
    std::lock_guard<std::mutex> lock(mLock);
    mHandler = std::move(handler);
}

status_t CodecClient::setCallback() {
    return mCodec->setCallback(new AMessage(kWhatCallback, mRelay));
}

void CodecClient::record(const sp<AMessage>& msg) {
    CodecEvent event;
    int32_t index = 0;
    int32_t flags = 0;
    msg->findInt32("callbackID", &event.id);
    msg->findInt32("index", &index);
    msg->findSize("size", &event.size);
    msg->findInt64("timeUs", &event.timeUs);
    msg->findInt32("flags", &flags);
    msg->findInt32("err", &event.err);
    msg->findMessage("format", &event.format);
    event.index = static_cast<size_t>(index);
    event.flags = static_cast<uint32_t>(flags);
    Handler handler;
    {
        std::lock_guard<std::mutex> lock(mLock);
        mEvents.push_back(event);
        handler = mHandler;
    }
    mChanged.notify_all();
    if (handler) handler(event);
}

CodecClient::Events CodecClient::events() const {
    std::lock_guard<std::mutex> lock(mLock);
    return mEvents;
}

bool CodecClient::waitFor(const std::function<bool(const Events&)>& condition) const {
    constexpr std::chrono::seconds kPatience(30);
    std::unique_lock<std::mutex> lock(mLock);
    while (!condition(mEvents)) {
        const size_t before = mEvents.size();
        mChanged.wait_for(lock, kPatience, [&] { return mEvents.size() > before; });
        if (mEvents.size() == before) return false;
    }
    return true;
}

bool CodecClient::waitForCount(int id, size_t count) const {
    return waitFor([&](const Events& events) { return countOf(events, id) >= count; });
}

bool CodecClient::waitForEnd() const {
    return waitFor([](const Events& events) {
        return !events.empty() && events.back().id == MediaCodec::CB_OUTPUT_AVAILABLE &&
               (events.back().flags & MediaCodec::BUFFER_FLAG_EOS) != 0;
    });
}

void CodecClient::settle() {
    AString name;
    sp<AMessage> response;
    mCodec->getName(&name);
    (new AMessage(kWhatBarrier, mRelay))->postAndAwaitResponse(&response);
}

CodecClient::Events CodecClient::ofKind(const Events& events, int id) {
    Events found;
    std::copy_if(events.begin(), events.end(), std::back_inserter(found),
                 [id](const CodecEvent& e) { return e.id == id; });
    return found;
}

size_t CodecClient::countOf(const Events& events, int id) {
    return static_cast<size_t>(std::count_if(events.begin(), events.end(),
                                             [id](const CodecEvent& e) { return e.id == id; }));
}

}  // namespace oxa::test
