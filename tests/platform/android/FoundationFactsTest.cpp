// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <hidl/Status.h>
#include <media/stagefright/MetaData.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>
#include <media/stagefright/foundation/AString.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace android {
namespace {

using hardware::hidl_string;
using hardware::hidl_vec;
using hardware::Return;
using hardware::Status;

// A call, and what Android 11 answers.
struct Answer {
    const char* call;
    std::string ours;
    std::string android;
};

void expectAnswers(const std::vector<Answer>& answers) {
    for (const Answer& answer : answers)
        EXPECT_EQ(answer.ours, answer.android) << answer.call;
}

// A call that ends the process there too, and a part of what it says here.
struct Fatal {
    const char* call;
    const char* text;
    std::function<void()> run;
};

void expectFatal(const std::vector<Fatal>& calls) {
    for (const Fatal& fatal : calls)
        EXPECT_DEATH(fatal.run(), fatal.text) << fatal.call;
}

std::string hashOf(const char* text) {
    return std::to_string(AString(text).hash());
}

std::string pointerText(void* pointer) {
    AString text;
    text.append(pointer);
    return text.c_str();
}

TEST(FoundationFacts, Strings) {
    expectAnswers({
            {"hash of nothing", hashOf(""), "0"},
            {"hash of one character", hashOf("a"), "97"},
            {"hash of more than 32 bits", hashOf("video/avc"), "103621712820026"},
            {"hash of three characters", hashOf("abc"), "96354"},
            {"a null pointer", pointerText(nullptr), "0x0"},
            {"a pointer", pointerText(reinterpret_cast<void*>(0xAF)), "0xaf"},
            {"find at the end", std::to_string(AString("abc").find("c", 3)), "-1"},
            {"find nothing at the end", std::to_string(AString("abc").find("", 3)), "3"},
            {"find behind a NUL", std::to_string(AString("a\0b", 3).find("b")), "-1"},
    });
}

TEST(FoundationFactsDeathTest, StringsRefuseRangesOutside) {
    expectFatal({
            {"find behind the end", "CHECK_LE\\( start,size", [] { AString("abc").find("a", 4); }},
            {"erase at the end", "CHECK_LT\\( start,size", [] { AString("abc").erase(3, 0); }},
            {"erase beyond the end", "CHECK_LE\\( n,size", [] { AString("abc").erase(1, 3); }},
            {"insert behind the end", "CHECK_LE\\( insertionPos,",
             [] { AString("abc").insert("x", 1, 4); }},
            {"a part of itself", "CHECK\\(&from != this",
             [] {
                 AString text("abc");
                 text.setTo(text, 0, 1);
             }},
    });
}

sp<AMessage> message(uint32_t what, const std::function<void(AMessage*)>& fill) {
    sp<AMessage> made = new AMessage(what, nullptr);
    fill(made.get());
    return made;
}

TEST(FoundationFacts, MessagesAsText) {
    const sp<AMessage> inner = message('abcd', [](AMessage* m) { m->setInt32("i", 1); });
    const sp<AMessage> plain = message(0x20161203, [&](AMessage* m) {
        m->setInt32("int32", -1);
        m->setInt64("int64", 2);
        m->setSize("size", 3);
        m->setFloat("float", 0.5f);
        m->setDouble("double", 1);
        m->setPointer("pointer", reinterpret_cast<void*>(0x10));
        m->setString("string", "v");
        m->setObject("object", nullptr);
        m->setRect("rect", 1, 2, 3, 4);
    });
    const sp<AMessage> nested = message(1, [&](AMessage* m) { m->setMessage("nested", inner); });
    const sp<AMessage> buffer = message(1, [&](AMessage* m) {
        m->setBuffer("small", ABuffer::CreateAsCopy("0123456789ABCDEF\x01z", 18));
    });
    expectAnswers({
            {"items", plain->debugString().c_str(),
             "AMessage(what = 0x20161203) = {\n"
             "  int32_t int32 = -1\n"
             "  int64_t int64 = 2\n"
             "  size_t size = 3\n"
             "  float float = 0.500000\n"
             "  double double = 1.000000\n"
             "  void *pointer = 0x10\n"
             "  string string = \"v\"\n"
             "  RefBase *object = 0x0\n"
             "  Rect rect(1, 2, 3, 4)\n"
             "}"},
            {"a message in it, its items below its own begin", nested->debugString().c_str(),
             "AMessage(what = 0x00000001) = {\n"
             "  AMessage nested = AMessage(what = 'abcd') = {\n"
             "                      int32_t i = 1\n"
             "                    }\n"
             "}"},
            {"bytes", buffer->debugString(2).c_str(),
             "AMessage(what = 0x00000001) = {\n"
             "    Buffer small = {\n"
             "      00000000:  30 31 32 33 34 35 36 37  38 39 41 42 43 44 45 46  0123456789ABCDEF\n"
             "      00000010:  01 7a                                             .z\n"
             "    }\n"
             "  }"},
    });
}

std::string textOf(const std::function<void(MetaData*)>& fill) {
    const sp<MetaData> meta = new MetaData;
    fill(meta.get());
    return meta->toString().c_str();
}

TEST(FoundationFacts, MetaDataAsText) {
    expectAnswers({
            {"nothing", textOf([](MetaData*) {}), ""},
            {"from the highest key on", textOf([](MetaData* m) {
                 m->setInt32(kKeyHeight, 1);
                 m->setInt64(kKeyTime, 2);
                 m->setCString(kKeyMIMEType, "a/b");
             }),
             "time: (int64_t) 2, mime: (char*) a/b, heig: (int32_t) 1"},
            {"a number with a point", textOf([](MetaData* m) { m->setFloat('f', 1.5f); }),
             ": (float) 1.500000"},
            {"a pointer", textOf([](MetaData* m) { m->setPointer(kKeyTime, nullptr); }),
             "time: (void*) 0x0"},
            {"a rectangle", textOf([](MetaData* m) { m->setRect(kKeyCropRect, 1, 2, 3, 4); }),
             "crop: Rect(1, 2, 3, 4)"},
            {"without a type", textOf([](MetaData* m) {
                 m->setData(kKeyOpaqueCSD0, MetaDataBase::TYPE_NONE, "abc", 3);
             }),
             "csd0: no type, size 3)"},
            {"of another type",
             textOf([](MetaData* m) { m->setData(kKeyAVCC, kTypeAVCC, "\1AB", 3); }),
             "avcc: (unknown type 1635148643, size 3)\n"
             "00000000:  01 41 42                                          .AB\n"},
            {"large", textOf([](MetaData* m) {
                 m->setData(kKeyAVCC, kTypeAVCC, std::string(49, 'x').data(), 49);
             }),
             "avcc: (unknown type 1635148643, size 49)"},
    });
}

std::string truth(bool holds) {
    return holds ? "true" : "false";
}

TEST(FoundationFacts, HidlValues) {
    char kept[] = "kept";
    hidl_string external;
    external.setToExternal(kept, 4);
    const hidl_string copy = external;
    std::string shown = (std::ostringstream() << external).str();
    kept[0] = 'K';
    const std::vector<int> range = {1, 2, 3};
    const hidl_vec<int> items(range.begin(), range.end());
    expectAnswers({
            {"external characters are referred to", external.c_str(), "Kept"},
            {"a copy has its own", copy.c_str(), "kept"},
            {"shown", shown, "kept"},
            {"less", truth(copy < "kepu" && !(copy < "kept")), "true"},
            {"less or equal", truth(copy <= "kept" && !(copy <= "k")), "true"},
            {"greater", truth(copy > "k" && !(copy > "kept")), "true"},
            {"greater or equal", truth("kept" >= copy && !("k" >= copy)), "true"},
            {"of a range", std::to_string(items.size()), "3"},
            {"contains", truth(items.contains(2) && !items.contains(4)), "true"},
            {"find", std::to_string(items.find(3) - items.begin()), "2"},
            {"find what is not there", truth(items.find(4) == items.end()), "true"},
    });
}

Status dead() {
    return Status::fromStatusT(DEAD_OBJECT);
}

// Who has asked for the error has seen it, in whatever way; moving hands the duty on.
TEST(FoundationFacts, AFailedCallThatWasLookedAtIsHarmless) {
    (void)Return<void>(dead()).isOk();
    (void)Return<void>(dead()).isDeadObject();
    EXPECT_FALSE(Return<bool>(dead()).withDefault(false));
    Return<void> failed = dead();
    Return<void> moved = std::move(failed);
    EXPECT_FALSE(moved.isOk());
    Return<void> fine = hardware::Void();
    fine = std::move(moved);
    EXPECT_TRUE(fine.isDeadObject());
}

TEST(FoundationFactsDeathTest, AFailedCallThatNobodyLookedAtEndsTheProcess) {
    expectFatal({
            {"dropped", "transport error", [] { Return<void> failed = dead(); }},
            {"described only", "transport error", [] { (void)Return<void>(dead()).description(); }},
            {"moved and dropped", "transport error",
             [] {
                 Return<bool> failed = dead();
                 Return<bool> moved = std::move(failed);
             }},
            {"overwritten", "transport error",
             [] {
                 Return<void> failed = dead();
                 failed = hardware::Void();
             }},
            {"taken for a value", "transport error",
             [] { [[maybe_unused]] const bool value = Return<bool>(dead()); }},
            {"an external text without an end", "does not end",
             [] { hidl_string().setToExternal("ab", 1); }},
    });
}

}  // namespace
}  // namespace android
