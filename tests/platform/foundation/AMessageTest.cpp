// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <media/stagefright/foundation/ABuffer.h>

#include "platform/foundation/LooperTestKit.h"
#include "support/Test.h"

namespace android {
namespace {

using namespace oxa::test;

template <typename T>
bool finds(const AMessage& message, bool (AMessage::*find)(const char*, T*) const,
           const char* name) {
    T value;
    return (message.*find)(name, &value);
}

// Tries every finder and names those that have an answer.
std::string finders(const AMessage& message, const char* name) {
    int32_t side;
    std::string found;
    if (finds(message, &AMessage::findInt32, name)) found += "int32 ";
    if (finds(message, &AMessage::findInt64, name)) found += "int64 ";
    if (finds(message, &AMessage::findSize, name)) found += "size ";
    if (finds(message, &AMessage::findFloat, name)) found += "float ";
    if (finds(message, &AMessage::findDouble, name)) found += "double ";
    if (finds(message, &AMessage::findPointer, name)) found += "pointer ";
    if (finds<AString>(message, &AMessage::findString, name)) found += "string ";
    if (finds(message, &AMessage::findObject, name)) found += "object ";
    if (finds(message, &AMessage::findBuffer, name)) found += "buffer ";
    if (finds(message, &AMessage::findMessage, name)) found += "message ";
    if (message.findRect(name, &side, &side, &side, &side)) found += "rect ";
    return found;
}

// What a finder gives for the name; a test fails without an answer.
template <typename T>
T found(const AMessage& message, bool (AMessage::*find)(const char*, T*) const, const char* name) {
    T value = {};
    EXPECT_TRUE((message.*find)(name, &value)) << name;
    return value;
}

// Each item is named after its type.
TEST(AMessageTest, returnsTheValuesThatWereSetAsTheirOwnTypeOnly) {
    const sp<AMessage> message = new AMessage(7, nullptr);
    const sp<AMessage> nested = new AMessage;
    const sp<ABuffer> buffer = new ABuffer(1);
    void* const pointer = message.get();
    message->setInt32("int32", INT32_MIN);
    message->setInt64("int64", INT64_MAX);
    message->setSize("size", SIZE_MAX);
    message->setFloat("float", 0.5f);
    message->setDouble("double", -1e300);
    message->setPointer("pointer", pointer);
    message->setString("string", "te\0t and more", 4);
    message->setObject("object", nested);
    message->setMessage("message", nested);
    message->setRect("rect", 1, -2, 3, -4);
    message->setBuffer("buffer", buffer);

    EXPECT_EQ(found(*message, &AMessage::findInt32, "int32"), INT32_MIN);
    EXPECT_EQ(found(*message, &AMessage::findInt64, "int64"), INT64_MAX);
    EXPECT_EQ(found(*message, &AMessage::findSize, "size"), SIZE_MAX);
    EXPECT_EQ(found(*message, &AMessage::findFloat, "float"), 0.5f);
    EXPECT_EQ(found(*message, &AMessage::findDouble, "double"), -1e300);
    EXPECT_EQ(found(*message, &AMessage::findPointer, "pointer"), pointer);
    EXPECT_EQ(found<AString>(*message, &AMessage::findString, "string"), AString("te\0t", 4));
    EXPECT_EQ(found(*message, &AMessage::findObject, "object").get(), nested.get());
    EXPECT_EQ(found(*message, &AMessage::findBuffer, "buffer"), buffer);
    EXPECT_EQ(found(*message, &AMessage::findMessage, "message"), nested);
    int32_t left = 0, top = 0, right = 0, bottom = 0;
    EXPECT_TRUE(message->findRect("rect", &left, &top, &right, &bottom));
    EXPECT_EQ(std::vector<int32_t>({1, -2, 3, -4}),
              std::vector<int32_t>({left, top, right, bottom}));
    EXPECT_EQ(message->what(), 7u);

    EXPECT_FALSE(message->findInt32("int64", &left));
    EXPECT_EQ(left, 1) << "a finder without an answer must leave the variable alone";
    EXPECT_EQ(finders(*message, "Int32"), "");

    int64_t wide = 0;
    float number = 0;
    EXPECT_EQ(found(*message, &AMessage::findAsInt64, "int32"), INT32_MIN);
    EXPECT_EQ(found(*message, &AMessage::findAsInt64, "int64"), INT64_MAX);
    EXPECT_FALSE(message->findAsInt64("size", &wide));
    EXPECT_EQ(found(*message, &AMessage::findAsFloat, "int32"), -2147483648.0f);
    EXPECT_EQ(found(*message, &AMessage::findAsFloat, "float"), 0.5f);
    EXPECT_FALSE(message->findAsFloat("string", &number));
    EXPECT_FALSE(message->findAsFloat("none", &number));

    ASSERT_EQ(message->countEntries(), 11u);
    for (int i = AMessage::kTypeInt32; i <= AMessage::kTypeBuffer; ++i) {
        AMessage::Type type;
        const char* const name = message->getEntryNameAt(i, &type);
        EXPECT_EQ(i, type) << name;
        EXPECT_EQ(finders(*message, name), std::string(name) + " ");
        EXPECT_TRUE(message->contains(name));
    }
    EXPECT_FALSE(message->contains("none"));
}

TEST(AMessageTest, holdsObjectsUntilTheyAreReplacedClearedOrDropped) {
    std::atomic<int> destroyed{0};
    sp<AMessage> message = new AMessage(1, nullptr);
    for (const char* name : {"a", "b", "c"})
        message->setObject(name, new Tracked(&destroyed));
    message->setInt32("a", 0);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(finders(*message, "a"), "int32 ");
    message->clear();
    EXPECT_EQ(destroyed, 3);
    EXPECT_EQ(message->countEntries(), 0u);
    EXPECT_EQ(message->what(), 1u);
    message->setObject("d", new Tracked(&destroyed));
    message.clear();
    EXPECT_EQ(destroyed, 4);
}

TEST(AMessageTest, keepsTheOrderOfItemsAndTakesSixtyFour) {
    sp<AMessage> message = new AMessage;
    for (int i = 0; i < 64; ++i)
        message->setInt32(std::to_string(i).c_str(), i);
    message->setString("0", "replaced", 0);
    AMessage::Type type;
    EXPECT_STREQ(message->getEntryNameAt(0, &type), "0");
    EXPECT_EQ(type, AMessage::kTypeString);
    EXPECT_STREQ(message->getEntryNameAt(63, &type), "63");
    EXPECT_STREQ(found<AString>(*message, &AMessage::findString, "0").c_str(), "");
    type = AMessage::kTypeRect;
    EXPECT_EQ(message->getEntryNameAt(64, &type), nullptr);
    EXPECT_EQ(type, AMessage::kTypeRect) << "there is none";
    EXPECT_DEATH(message->setInt32("64", 64), "CHECK\\(mNumItems < kMaxNumItems\\) failed\\.");
}

TEST(AMessageTest, copiesAreDeepAndReadTheTargetAfresh) {
    sp<ALooper> looper = new ALooper;
    sp<AHandler> handler = new FunctionHandler([](const sp<AMessage>&) {});
    sp<AMessage> message = new AMessage(1, handler);
    sp<AMessage> nested = new AMessage;
    sp<ABuffer> buffer = new ABuffer(1);
    nested->setInt32("n", 1);
    message->setString("string", "text");
    message->setMessage("nested", nested);
    message->setBuffer("buffer", buffer);
    message->setObject("object", buffer);
    looper->registerHandler(handler);
    sp<AMessage> copy = message->dup();
    sp<AMessage> extended = new AMessage(2, nullptr);
    extended->setInt32("kept", 1);
    extended->setInt32("string", 1);
    extended->extend(message);
    EXPECT_EQ(message->post(), -ENOENT) << "the original knows no looper";
    EXPECT_EQ(copy->post(), OK);
    EXPECT_EQ(copy->what(), 1u);
    EXPECT_EQ(extended->what(), 2u);
    EXPECT_EQ(extended->countEntries(), 5u);
    nested->setInt32("n", 2);
    message->setString("string", "changed");
    for (const sp<AMessage>& taken : {copy, extended}) {
        const sp<AMessage> nestedCopy = found(*taken, &AMessage::findMessage, "nested");
        EXPECT_EQ(found(*nestedCopy, &AMessage::findInt32, "n"), 1);
        EXPECT_STREQ(found<AString>(*taken, &AMessage::findString, "string").c_str(), "text");
        EXPECT_EQ(found(*taken, &AMessage::findBuffer, "buffer"), buffer);
        EXPECT_EQ(found(*taken, &AMessage::findObject, "object").get(), buffer.get());
    }
}

// A request whose token was taken carries a null object: copying it is a mistake of the caller.
TEST(AMessageDeathTest, refusesToCopyNullItemsAndToSetNullStrings) {
    const sp<AMessage> message = new AMessage;
    const auto expectNoCopy = [&](const char* kind) {
        EXPECT_DEATH(message->dup(), std::string("CHECK\\(\\*") + kind + " != nullptr\\) failed");
        message->clear();
    };
    message->setObject("null", NULL);
    expectNoCopy("object");
    message->setBuffer("null", NULL);
    expectNoCopy("buffer");
    message->setMessage("null", NULL);
    expectNoCopy("message");
    const char* none = nullptr;
    EXPECT_DEATH(message->setString("null", none), "CHECK\\(s != nullptr\\) failed\\.");
}

// As Android writes it: bytes up to 64, the items of a message below its own begin.
TEST(AMessageTest, debugStringIsThatOfAndroid) {
    const sp<ALooper> looper = new ALooper;
    const sp<AHandler> handler = new FunctionHandler([](const sp<AMessage>&) {});
    const sp<AMessage> inner = new AMessage('abcd', nullptr);
    inner->setInt32("i", 1);
    const sp<AMessage> message = new AMessage(0x20161203, nullptr);
    message->setInt32("int32", -1);
    message->setInt64("int64", 2);
    message->setSize("size", 3);
    message->setFloat("float", 0.5f);
    message->setDouble("double", 1);
    message->setPointer("pointer", reinterpret_cast<void*>(0x10));
    message->setString("string", "v");
    message->setObject("object", nullptr);
    message->setRect("rect", 1, 2, 3, 4);
    message->setMessage("nested", inner);
    message->setBuffer("small", ABuffer::CreateAsCopy("0123456789ABCDEF\x01z", 18));
    EXPECT_STREQ(R"(AMessage(what = 0x20161203) = {
    int32_t int32 = -1
    int64_t int64 = 2
    size_t size = 3
    float float = 0.500000
    double double = 1.000000
    void *pointer = 0x10
    string string = "v"
    RefBase *object = 0x0
    Rect rect(1, 2, 3, 4)
    AMessage nested = AMessage(what = 'abcd') = {
                        int32_t i = 1
                      }
    Buffer small = {
      00000000:  30 31 32 33 34 35 36 37  38 39 41 42 43 44 45 46  0123456789ABCDEF
      00000010:  01 7a                                             .z
    }
  })",
                 message->debugString(2).c_str());
    const ALooper::handler_id id = looper->registerHandler(handler);
    const sp<AMessage> targeted = new AMessage('abcd', handler);
    targeted->setBuffer("large", new ABuffer(65));
    EXPECT_THAT(targeted->debugString().c_str(),
                testing::MatchesRegex("AMessage\\(what = 'abcd', target = " + std::to_string(id) +
                                      "\\) = \\{\n  Buffer \\*large = 0x[0-9a-f]+\n\\}"));
}

}  // namespace
}  // namespace android
