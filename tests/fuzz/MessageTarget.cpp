// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// The bytes are a program for messages, buffers and a looper. What each does is compared
// with plain containers that do the same.

#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>
#include <media/stagefright/foundation/AString.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <map>
#include <mutex>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "fuzz/FuzzTarget.h"

namespace oxa::fuzz {
namespace {

using namespace android;

constexpr size_t kMaxProgramBytes = 2048;
// Fewer than a message holds, which is fatal by design.
constexpr int kNames = 12;
constexpr size_t kSlots = 3;
constexpr int kMaxDepth = 2;

// The same items as in a message.
struct Model {
    using Value = std::variant<int32_t, int64_t, size_t, double, std::string, Model>;
    std::map<std::string, Value> items;

    int depth() const {
        int deepest = 0;
        for (const auto& [name, value] : items) {
            const Model* inner = std::get_if<Model>(&value);
            if (inner != nullptr) deepest = std::max(deepest, 1 + inner->depth());
        }
        return deepest;
    }
};

template <typename Value, typename Find>
void checkItem(const Model::Value& expected, Find find) {
    Value value{};
    const Value* wanted = std::get_if<Value>(&expected);
    FUZZ_CHECK(find(&value) == (wanted != nullptr));
    // Bytes, so that a number that is none compares, too.
    if (wanted != nullptr) FUZZ_CHECK(memcmp(&value, wanted, sizeof(value)) == 0);
}

void checkSame(const sp<AMessage>& message, const Model& model) {
    FUZZ_CHECK(message->countEntries() == model.items.size());
    for (const auto& [text, expected] : model.items) {
        const char* name = text.c_str();
        FUZZ_CHECK(message->contains(name));
        checkItem<int32_t>(expected, [&](int32_t* v) { return message->findInt32(name, v); });
        checkItem<int64_t>(expected, [&](int64_t* v) { return message->findInt64(name, v); });
        checkItem<size_t>(expected, [&](size_t* v) { return message->findSize(name, v); });
        checkItem<double>(expected, [&](double* v) { return message->findDouble(name, v); });
        AString string;
        const std::string* wantedText = std::get_if<std::string>(&expected);
        FUZZ_CHECK(message->findString(name, &string) == (wantedText != nullptr));
        if (wantedText != nullptr) {
            FUZZ_CHECK(std::string(string.c_str(), string.size()) == *wantedText);
        }
        sp<AMessage> inner;
        const Model* wantedInner = std::get_if<Model>(&expected);
        FUZZ_CHECK(message->findMessage(name, &inner) == (wantedInner != nullptr));
        if (wantedInner != nullptr) checkSame(inner, *wantedInner);
    }
}

// Notes what arrives, and answers whoever waits with the same items.
class EchoHandler : public AHandler {
  public:
    std::vector<uint32_t> arrived() {
        std::lock_guard<std::mutex> lock(mLock);
        return mArrived;
    }

  protected:
    void onMessageReceived(const sp<AMessage>& message) override {
        {
            std::lock_guard<std::mutex> lock(mLock);
            mArrived.push_back(message->what());
        }
        sp<AReplyToken> token;
        if (!message->senderAwaitsResponse(&token)) return;
        const sp<AMessage> reply = new AMessage(message->what(), nullptr);
        sp<AMessage> content;
        if (message->findMessage("content", &content)) reply->setMessage("content", content);
        FUZZ_CHECK(reply->postReply(token) == OK);
        FUZZ_CHECK(reply->postReply(token) != OK);
    }

  private:
    std::mutex mLock;
    std::vector<uint32_t> mArrived;  // guarded by mLock
};

class Program {
  public:
    Program(const uint8_t* data, size_t size) : mInput(data, size) {
        for (Slot& slot : mSlots)
            slot.message = new AMessage;
        mLooper->registerHandler(mHandler);
    }

    ~Program() {
        mLooper->stop();
        mLooper->unregisterHandler(mHandler->id());
    }

    void run() {
        while (!mInput.empty())
            step();
        for (const Slot& slot : mSlots) {
            checkSame(slot.message, slot.model);
            FUZZ_CHECK(!slot.message->debugString(mInput.byte()).empty());
        }
        checkDelivery();
    }

  private:
    struct Slot {
        sp<AMessage> message;
        Model model;
    };

    Slot& slot() { return mSlots[mInput.byte() % kSlots]; }
    std::string name() { return "name" + std::to_string(mInput.byte() % kNames); }

    void step() {
        static constexpr void (Program::*kSteps[])() = {
                &Program::setItem, &Program::nest,         &Program::copy,
                &Program::extend,  &Program::clear,        &Program::post,
                &Program::request, &Program::changeBuffer, &Program::switchLooper};
        (this->*kSteps[mInput.byte() % std::size(kSteps)])();
    }

    template <typename Number>
    void setNumber(Slot* target, const std::string& key,
                   void (AMessage::*set)(const char* name, Number value)) {
        // Of all bits, also where they are no number.
        using Bits = std::conditional_t<sizeof(Number) == sizeof(uint32_t), uint32_t, uint64_t>;
        const auto bits = mInput.integer<Bits>();
        Number number{};
        memcpy(&number, &bits, sizeof(number));
        target->model.items[key] = number;
        (target->message.get()->*set)(key.c_str(), number);
    }

    void setItem() {
        Slot& target = slot();
        const std::string key = name();
        switch (mInput.byte() % 5) {
            case 0:
                return setNumber(&target, key, &AMessage::setInt32);
            case 1:
                return setNumber(&target, key, &AMessage::setInt64);
            case 2:
                return setNumber(&target, key, &AMessage::setSize);
            case 3:
                return setNumber(&target, key, &AMessage::setDouble);
        }
        const std::string text = mInput.text();
        target.model.items[key] = text;
        target.message->setString(key.c_str(), text.data(), static_cast<ssize_t>(text.size()));
    }

    // A copy, so that no message holds itself.
    void nest() {
        const Slot inner = slot();
        Slot& outer = slot();
        if (inner.model.depth() >= kMaxDepth) return;
        const std::string key = name();
        outer.message->setMessage(key.c_str(), inner.message->dup());
        outer.model.items[key] = inner.model;
    }

    void copy() {
        const Slot from = slot();
        Slot& to = slot();
        to = {from.message->dup(), from.model};
        checkSame(to.message, to.model);
    }

    void extend() {
        const Slot from = slot();
        Slot& to = slot();
        if (from.message == to.message) return;
        to.message->extend(from.message);
        for (const auto& [key, value] : from.model.items)
            to.model.items[key] = value;
    }

    void clear() {
        Slot& target = slot();
        target.message->clear();
        target.model.items.clear();
    }

    void post() {
        const sp<AMessage> message = new AMessage(++mPosted, mHandler);
        FUZZ_CHECK(message->post() == OK);
        mExpected.push_back(mPosted);
    }

    void request() {
        const Slot content = slot();
        const sp<AMessage> message = new AMessage(++mPosted, mHandler);
        message->setMessage("content", content.message->dup());
        sp<AMessage> reply;
        const status_t status = message->postAndAwaitResponse(&reply);
        mExpected.push_back(mPosted);
        FUZZ_CHECK(status == (mRunning ? OK : -ENOENT));
        if (!mRunning) return;
        sp<AMessage> echo;
        FUZZ_CHECK(reply->findMessage("content", &echo));
        checkSame(echo, content.model);
        FUZZ_CHECK(mHandler->arrived() == mExpected);
    }

    void changeBuffer() {
        const std::string bytes = mInput.text();
        const sp<ABuffer> buffer = ABuffer::CreateAsCopy(bytes.data(), bytes.size());
        const size_t offset = bytes.empty() ? 0 : mInput.byte() % bytes.size();
        const size_t size = mInput.byte() % (bytes.size() - offset + 1);
        buffer->setRange(offset, size);
        buffer->meta()->setBuffer("self", ABuffer::CreateAsCopy(buffer->data(), buffer->size()));
        sp<ABuffer> inner;
        FUZZ_CHECK(buffer->meta()->dup()->findBuffer("self", &inner));
        FUZZ_CHECK(std::string(reinterpret_cast<char*>(inner->data()), inner->size()) ==
                   bytes.substr(offset, size));
        FUZZ_CHECK(!buffer->meta()->debugString().empty());
    }

    void switchLooper() {
        FUZZ_CHECK((mRunning ? mLooper->stop() : mLooper->start()) == OK);
        mRunning = !mRunning;
    }

    // Nothing is lost, twice there, or out of its order.
    void checkDelivery() {
        if (!mRunning) switchLooper();
        request();
    }

    ByteReader mInput;
    std::array<Slot, kSlots> mSlots;
    const sp<ALooper> mLooper = new ALooper;
    const sp<EchoHandler> mHandler = new EchoHandler;
    bool mRunning = false;
    uint32_t mPosted = 0;
    std::vector<uint32_t> mExpected;
};

}  // namespace
}  // namespace oxa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size <= oxa::fuzz::kMaxProgramBytes) oxa::fuzz::Program(data, size).run();
    return 0;
}
