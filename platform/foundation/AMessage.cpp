// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AMessage"

#include <media/stagefright/foundation/AMessage.h>

#include <ctype.h>
#include <inttypes.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/ADebug.h>
#include <media/stagefright/foundation/AHandler.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

#include "foundation/HexDump.h"

namespace android {

namespace {

constexpr size_t kMaxNumItems = 64;
// What the callbacks of a codec carry: one allocation for them all.
constexpr size_t kUsualNumItems = 8;
// Larger buffers show only their address in a message's text.
constexpr size_t kMaxDumpedBytes = 64;

// Name of the item in which a request carries its token.
constexpr const char kReplyTokenName[] = "replyID";

AString pointerText(const void* pointer) {
    return AStringPrintf("0x%" PRIxPTR, reinterpret_cast<uintptr_t>(pointer));
}

AString whatText(uint32_t what) {
    char code[] = {static_cast<char>(what >> 24), static_cast<char>(what >> 16),
                   static_cast<char>(what >> 8), static_cast<char>(what)};
    bool printable = std::all_of(std::begin(code), std::end(code),
                                 [](unsigned char c) { return isprint(c) != 0; });
    return printable ? AStringPrintf("'%.4s'", code) : AStringPrintf("0x%08x", what);
}

AString bufferText(const char* name, const sp<ABuffer>& buffer, int32_t indent) {
    if (buffer == nullptr || buffer->data() == nullptr || buffer->size() > kMaxDumpedBytes) {
        return AStringPrintf("Buffer *%s = %s", name, pointerText(buffer.get()).c_str());
    }
    AString text = AStringPrintf("Buffer %s = {\n", name);
    text.append(hexDump(buffer->data(), buffer->size(), indent + 2));
    text.append(AStringPrintf("%*s}", indent, ""));
    return text;
}

}  // namespace

struct AMessage::Rect {
    int32_t left, top, right, bottom;
};

struct AMessage::Item {
    // The alternatives are in the order of Type, so that the index is the type.
    using Value = std::variant<int32_t, int64_t, size_t, float, double, void*, std::string,
                               sp<RefBase>, sp<AMessage>, Rect, sp<ABuffer>>;
    static_assert(std::is_same_v<std::variant_alternative_t<kTypePointer, Value>, void*>);
    static_assert(std::is_same_v<std::variant_alternative_t<kTypeMessage, Value>, sp<AMessage>>);
    static_assert(std::variant_size_v<Value> == kTypeBuffer + 1);

    Type type() const { return static_cast<Type>(value.index()); }
    Item copy() const;
    AString text(int32_t indent) const;

    std::string name;
    Value value;
};

AMessage::Item AMessage::Item::copy() const {
    Item result = *this;
    if (auto object = std::get_if<sp<RefBase>>(&result.value)) CHECK(*object != nullptr);
    if (auto buffer = std::get_if<sp<ABuffer>>(&result.value)) CHECK(*buffer != nullptr);
    if (auto message = std::get_if<sp<AMessage>>(&result.value)) {
        CHECK(*message != nullptr);
        *message = (*message)->dup();
    }
    return result;
}

AString AMessage::Item::text(int32_t indent) const {
    const char* n = name.c_str();
    switch (type()) {
        case kTypeInt32:
            return AStringPrintf("int32_t %s = %d", n, std::get<int32_t>(value));
        case kTypeInt64:
            return AStringPrintf("int64_t %s = %" PRId64, n, std::get<int64_t>(value));
        case kTypeSize:
            return AStringPrintf("size_t %s = %zu", n, std::get<size_t>(value));
        case kTypeFloat:
            return AStringPrintf("float %s = %f", n, std::get<float>(value));
        case kTypeDouble:
            return AStringPrintf("double %s = %f", n, std::get<double>(value));
        case kTypePointer:
            return AStringPrintf("void *%s = %s", n, pointerText(std::get<void*>(value)).c_str());
        case kTypeString:
            return AStringPrintf("string %s = \"%s\"", n, std::get<std::string>(value).c_str());
        case kTypeObject:
            return AStringPrintf("RefBase *%s = %s", n,
                                 pointerText(std::get<sp<RefBase>>(value).get()).c_str());
        case kTypeMessage: {
            const sp<AMessage>& message = std::get<sp<AMessage>>(value);
            if (message == nullptr) return AStringPrintf("AMessage %s = 0x0", n);
            // Below where the nested text begins.
            const auto nested = static_cast<int32_t>(indent + name.size() + strlen("AMessage  = "));
            return AStringPrintf("AMessage %s = %s", n, message->debugString(nested).c_str());
        }
        case kTypeRect: {
            const Rect& rect = std::get<Rect>(value);
            return AStringPrintf("Rect %s(%d, %d, %d, %d)", n, rect.left, rect.top, rect.right,
                                 rect.bottom);
        }
        case kTypeBuffer:
            return bufferText(n, std::get<sp<ABuffer>>(value), indent);
    }
    TRESPASS();
}

AMessage::AMessage() = default;

AMessage::AMessage(uint32_t what, const sp<const AHandler>& handler) : mWhat(what) {
    setTarget(handler);
}

AMessage::~AMessage() = default;

void AMessage::setTarget(const sp<const AHandler>& handler) {
    if (handler == nullptr) {
        mTarget = 0;
        mHandler.clear();
        mLooper.clear();
        return;
    }
    mTarget = handler->id();
    mHandler = handler->getHandler();
    mLooper = handler->getLooper();
}

void AMessage::clear() {
    mItems.clear();
}

AMessage::Item& AMessage::itemFor(const char* name) {
    if (const Item* known = findItem(name)) return const_cast<Item&>(*known);
    // Named as in the text that field tools match on.
    const size_t mNumItems = mItems.size();
    CHECK(mNumItems < kMaxNumItems);
    if (mItems.empty()) mItems.reserve(kUsualNumItems);
    mItems.push_back({name, {}});
    return mItems.back();
}

const AMessage::Item* AMessage::findItem(const char* name) const {
    auto found = std::find_if(mItems.begin(), mItems.end(),
                              [name](const Item& item) { return item.name == name; });
    return found == mItems.end() ? nullptr : &*found;
}

template <typename T>
void AMessage::setValue(const char* name, T value) {
    itemFor(name).value.template emplace<T>(std::move(value));
}

template <typename T>
bool AMessage::findValue(const char* name, T* value) const {
    const Item* item = findItem(name);
    const T* found = item == nullptr ? nullptr : std::get_if<T>(&item->value);
    if (found == nullptr) return false;
    *value = *found;
    return true;
}

void AMessage::setInt32(const char* name, int32_t value) {
    setValue(name, value);
}

void AMessage::setInt64(const char* name, int64_t value) {
    setValue(name, value);
}

void AMessage::setSize(const char* name, size_t value) {
    setValue(name, value);
}

void AMessage::setFloat(const char* name, float value) {
    setValue(name, value);
}

void AMessage::setDouble(const char* name, double value) {
    setValue(name, value);
}

void AMessage::setPointer(const char* name, void* value) {
    setValue(name, value);
}

void AMessage::setString(const char* name, const char* s, ssize_t len) {
    CHECK(s != nullptr);
    setValue(name, len < 0 ? std::string(s) : std::string(s, static_cast<size_t>(len)));
}

void AMessage::setString(const char* name, const AString& s) {
    setValue(name, std::string(s.c_str(), s.size()));
}

void AMessage::setObject(const char* name, const sp<RefBase>& obj) {
    setValue(name, obj);
}

void AMessage::setBuffer(const char* name, const sp<ABuffer>& buffer) {
    setValue(name, buffer);
}

void AMessage::setMessage(const char* name, const sp<AMessage>& obj) {
    setValue(name, obj);
}

void AMessage::setRect(const char* name, int32_t left, int32_t top, int32_t right, int32_t bottom) {
    setValue(name, Rect{left, top, right, bottom});
}

bool AMessage::contains(const char* name) const {
    return findItem(name) != nullptr;
}

bool AMessage::findInt32(const char* name, int32_t* value) const {
    return findValue(name, value);
}

bool AMessage::findInt64(const char* name, int64_t* value) const {
    return findValue(name, value);
}

bool AMessage::findSize(const char* name, size_t* value) const {
    return findValue(name, value);
}

bool AMessage::findFloat(const char* name, float* value) const {
    return findValue(name, value);
}

bool AMessage::findDouble(const char* name, double* value) const {
    return findValue(name, value);
}

bool AMessage::findPointer(const char* name, void** value) const {
    return findValue(name, value);
}

bool AMessage::findString(const char* name, AString* value) const {
    const Item* item = findItem(name);
    const auto* found = item == nullptr ? nullptr : std::get_if<std::string>(&item->value);
    if (found != nullptr) value->setTo(found->c_str(), found->size());
    return found != nullptr;
}

bool AMessage::findObject(const char* name, sp<RefBase>* obj) const {
    return findValue(name, obj);
}

bool AMessage::findBuffer(const char* name, sp<ABuffer>* buffer) const {
    return findValue(name, buffer);
}

bool AMessage::findMessage(const char* name, sp<AMessage>* obj) const {
    return findValue(name, obj);
}

bool AMessage::findRect(const char* name, int32_t* left, int32_t* top, int32_t* right,
                        int32_t* bottom) const {
    Rect rect;
    if (!findValue(name, &rect)) return false;
    *left = rect.left;
    *top = rect.top;
    *right = rect.right;
    *bottom = rect.bottom;
    return true;
}

bool AMessage::findAsInt64(const char* name, int64_t* value) const {
    int32_t narrow;
    if (!findInt32(name, &narrow)) return findInt64(name, value);
    *value = narrow;
    return true;
}

bool AMessage::findAsFloat(const char* name, float* value) const {
    const Item* item = findItem(name);
    if (item == nullptr) return false;
    return std::visit(
            [value](const auto& number) {
                if constexpr (std::is_arithmetic_v<std::decay_t<decltype(number)>>) {
                    *value = static_cast<float>(number);
                    return true;
                } else {
                    return false;
                }
            },
            item->value);
}

status_t AMessage::post(int64_t delayUs) {
    sp<ALooper> looper = promoteLooper();
    if (looper == nullptr) return -ENOENT;
    looper->post(this, delayUs);
    return OK;
}

sp<ALooper> AMessage::promoteLooper() const {
    sp<ALooper> looper = mLooper.promote();
    ALOGW_IF(looper == nullptr, "failed to post message as target looper for handler %d is gone.",
             mTarget);
    return looper;
}

status_t AMessage::postAndAwaitResponse(sp<AMessage>* response) {
    sp<ALooper> looper = promoteLooper();
    if (looper == nullptr) return -ENOENT;
    sp<AReplyToken> token = looper->createReplyToken();
    setObject(kReplyTokenName, token);
    looper->post(this, 0);
    return looper->awaitResponse(token, response);
}

bool AMessage::senderAwaitsResponse(sp<AReplyToken>* replyID) {
    sp<RefBase> token;
    if (!findObject(kReplyTokenName, &token)) return false;
    *replyID = static_cast<AReplyToken*>(token.get());
    setObject(kReplyTokenName, nullptr);
    return *replyID != nullptr;
}

status_t AMessage::postReply(const sp<AReplyToken>& replyID) {
    if (replyID == nullptr) {
        ALOGW("failed to post reply to a NULL token");
        return -ENOENT;
    }
    sp<ALooper> looper = replyID->mLooper.promote();
    if (looper == nullptr) return -ENOENT;
    return looper->postReply(replyID, this);
}

void AMessage::deliver() {
    sp<AHandler> handler = mHandler.promote();
    if (handler == nullptr) {
        ALOGW("failed to deliver message as target handler %d is gone.", mTarget);
        return;
    }
    handler->deliverMessage(this);
}

sp<AMessage> AMessage::dup() const {
    sp<AMessage> copy = new AMessage(mWhat, mHandler.promote());
    copy->mItems.reserve(mItems.size());
    for (const Item& item : mItems)
        copy->mItems.push_back(item.copy());
    return copy;
}

void AMessage::extend(const sp<AMessage>& other) {
    for (const Item& item : other->mItems)
        itemFor(item.name.c_str()).value = item.copy().value;
}

AString AMessage::debugString(int32_t indent) const {
    AString text = AStringPrintf("AMessage(what = %s", whatText(mWhat).c_str());
    if (mTarget != 0) text.append(AStringPrintf(", target = %d", mTarget));
    text.append(") = {\n");
    for (const Item& item : mItems) {
        text.append(AStringPrintf("%*s%s\n", indent + 2, "", item.text(indent + 2).c_str()));
    }
    text.append(AStringPrintf("%*s}", indent, ""));
    return text;
}

size_t AMessage::countEntries() const {
    return mItems.size();
}

const char* AMessage::getEntryNameAt(size_t index, Type* type) const {
    if (index >= mItems.size()) return nullptr;
    *type = mItems[index].type();
    return mItems[index].name.c_str();
}

}  // namespace android
