// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/ABase.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AString.h>
#include <utils/RefBase.h>

#include <vector>

namespace android {

struct ABuffer;
struct AHandler;

// The right to answer one request, exactly once. Made by AMessage::postAndAwaitResponse.
struct AReplyToken : public RefBase {
    explicit AReplyToken(const sp<ALooper>& looper) : mLooper(looper) {}

  private:
    friend struct ALooper;
    friend struct AMessage;

    const wp<ALooper> mLooper;
    sp<AMessage> mReply;    // guarded by the looper's lock
    bool mReplied = false;  // guarded by the looper's lock

    DISALLOW_EVIL_CONSTRUCTORS(AReplyToken);
};

// A code, a target and at most 64 named items (one more is fatal). Not locked: a message must not
// be changed while another thread reads it.
struct AMessage : public RefBase {
    AMessage();
    // The handler's id and looper are taken as they are now: a message that is built before its
    // handler was registered can never be posted. Both are held weakly.
    AMessage(uint32_t what, const sp<const AHandler>& handler);

    void setWhat(uint32_t what) { mWhat = what; }
    uint32_t what() const { return mWhat; }
    void setTarget(const sp<const AHandler>& handler);

    // Drops all items; code and target stay.
    void clear();

    // A name has one item: setting it again replaces value and type. Objects, buffers and messages
    // are held until then; null ones are items too. A null string is fatal.
    void setInt32(const char* name, int32_t value);
    void setInt64(const char* name, int64_t value);
    void setSize(const char* name, size_t value);
    void setFloat(const char* name, float value);
    void setDouble(const char* name, double value);
    void setPointer(const char* name, void* value);
    void setString(const char* name, const char* s, ssize_t len = -1);
    void setString(const char* name, const AString& s);
    void setObject(const char* name, const sp<RefBase>& obj);
    void setBuffer(const char* name, const sp<ABuffer>& buffer);
    void setMessage(const char* name, const sp<AMessage>& obj);
    void setRect(const char* name, int32_t left, int32_t top, int32_t right, int32_t bottom);

    // Any type.
    bool contains(const char* name) const;

    // False, and the result untouched, unless there is such an item of exactly that type.
    bool findInt32(const char* name, int32_t* value) const;
    bool findInt64(const char* name, int64_t* value) const;
    bool findSize(const char* name, size_t* value) const;
    bool findFloat(const char* name, float* value) const;
    bool findDouble(const char* name, double* value) const;
    bool findPointer(const char* name, void** value) const;
    bool findString(const char* name, AString* value) const;
    bool findObject(const char* name, sp<RefBase>* obj) const;
    bool findBuffer(const char* name, sp<ABuffer>* buffer) const;
    bool findMessage(const char* name, sp<AMessage>* obj) const;
    bool findRect(const char* name, int32_t* left, int32_t* top, int32_t* right,
                  int32_t* bottom) const;

    // Also from an int32 item, and from an item of any number type.
    bool findAsInt64(const char* name, int64_t* value) const;
    bool findAsFloat(const char* name, float* value) const;

    // Queues the message at its target's looper; it may be posted again. -ENOENT when the looper
    // is gone or was never there. Times in microseconds; 0 or less is due now.
    status_t post(int64_t delayUs = 0);

    // Posts the message and blocks until it is answered; there is no time-out. -ENOENT when the
    // looper is gone, is stopped, or runs on a calling thread. Must not be called on the target
    // looper's own thread, which would wait for itself.
    status_t postAndAwaitResponse(sp<AMessage>* response);

    // Takes the right to answer out of a request: true exactly once, false for a plain message.
    bool senderAwaitsResponse(sp<AReplyToken>* replyID);

    // Sends this message as the answer, from any thread. -ENOENT for a null token or when the
    // looper is gone, -EBUSY when the request was answered before.
    status_t postReply(const sp<AReplyToken>& replyID);

    // A copy whose strings and messages are copies too; objects and buffers are shared, the
    // target's id and looper are read afresh. A null object, buffer or message is fatal: never
    // copy a request whose token was taken.
    sp<AMessage> dup() const;

    // Sets all items of the other message here, copied as by dup().
    void extend(const sp<AMessage>& other);

    // For people: several lines, the first one not indented, without a newline at the end.
    AString debugString(int32_t indent = 0) const;

    enum Type {
        kTypeInt32,
        kTypeInt64,
        kTypeSize,
        kTypeFloat,
        kTypeDouble,
        kTypePointer,
        kTypeString,
        kTypeObject,
        kTypeMessage,
        kTypeRect,
        kTypeBuffer,
    };

    // Items in the order of their first setting. Null beyond the last; the name belongs to the
    // message.
    size_t countEntries() const;
    const char* getEntryNameAt(size_t index, Type* type) const;

  protected:
    ~AMessage() override;

  private:
    friend struct ALooper;

    struct Rect;
    struct Item;

    void deliver();
    sp<ALooper> promoteLooper() const;

    Item& itemFor(const char* name);
    const Item* findItem(const char* name) const;
    template <typename T>
    void setValue(const char* name, T value);
    template <typename T>
    bool findValue(const char* name, T* value) const;

    uint32_t mWhat = 0;
    ALooper::handler_id mTarget = 0;
    wp<AHandler> mHandler;
    wp<ALooper> mLooper;
    std::vector<Item> mItems;

    DISALLOW_EVIL_CONSTRUCTORS(AMessage);
};

}  // namespace android
