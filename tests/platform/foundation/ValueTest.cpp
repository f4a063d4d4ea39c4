// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "ValueTest"

#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/ADebug.h>
#include <media/stagefright/foundation/AMessage.h>
#include <media/stagefright/foundation/AString.h>
#include <utils/String8.h>

#include <csignal>

#include "support/Test.h"

namespace android {
namespace {

TEST(AStringTest, takesTextFromEverySource) {
    const char* none = nullptr;
    AString text;
    text.append('x');
    text.append(-1);
    text.append(2u);
    text.append(-3L);
    text.append(4UL);
    text.append(-5LL);
    text.append(18446744073709551615ULL);
    text.append(0.5f);
    text.append(-1.25);
    text.append("y");
    text.append(AString("abc"), 1, 1);
    text.append(reinterpret_cast<void*>(0x1f));
    text.append(static_cast<void*>(nullptr));
    text.append(AStringPrintf("%s-%02d", "a", 7));
    EXPECT_STREQ(text.c_str(), "x-12-34-5184467440737095516150.500000-1.250000yb0x1f0x0a-07");
    EXPECT_EQ(AStringPrintf("%5000d", 1).size(), 5000u);
    EXPECT_STREQ(AString(none).c_str(), "");
    EXPECT_STREQ(AString(none, 3).c_str(), "");
    EXPECT_STREQ(AString("abc", 2).c_str(), "ab");
    EXPECT_STREQ(AString(String8("abc")).c_str(), "abc");
    EXPECT_STREQ(AString(AString("abcd"), 1, 2).c_str(), "bc");
}

TEST(AStringTest, editsFindsAndCompares) {
    AString text(" \t\n");
    text.trim();
    EXPECT_TRUE(text.empty());
    text = " \t Video/AVC \n";
    text.trim();
    EXPECT_STREQ(text.c_str(), "Video/AVC");
    text.tolower();
    EXPECT_STREQ(text.c_str(), "video/avc");
    text.erase(0, 6);
    text.insert("x-", 2, 1);
    EXPECT_STREQ(text.c_str(), "ax-vc");
    const AString mime("video/avc; video");
    EXPECT_EQ(mime.find("video", 1), 11);
    EXPECT_EQ(mime.find("audio"), -1);
    EXPECT_EQ(AString("abc").find("c", 3), -1);
    EXPECT_EQ(AString("abc").find("", 3), 3);
    EXPECT_EQ(AString("a\0b", 3).find("b"), -1) << "behind a NUL";
    EXPECT_TRUE(mime.startsWith("video/"));
    EXPECT_FALSE(mime.startsWith("VIDEO/"));
    EXPECT_TRUE(mime.endsWith("; video"));
    EXPECT_TRUE(mime.endsWithIgnoreCase("VIDEO"));
    EXPECT_FALSE(AString("v").endsWith("video"));
    EXPECT_LT(AString("a"), AString("b"));
    EXPECT_GT(AString("b").compare("a"), 0);
    EXPECT_EQ(AString("A").compareIgnoreCase("a"), 0);
    EXPECT_NE(AString("a"), AString("A"));
    for (const auto& [hashed, hash] :
         {std::pair("", 0l), {"a", 97l}, {"abc", 96354l}, {"video/avc", 103621712820026l}})
        EXPECT_EQ(static_cast<size_t>(hash), AString(hashed).hash());
}

// Some as Android ends the process too; elsewhere it reads what lies behind the string.
TEST(AStringDeathTest, refusesPartsOutside) {
    AString text("abc");
    EXPECT_DEATH(AString(text, 1, 3), "CHECK_LE\\( n,");
    EXPECT_DEATH(AString(text, 4, 0), "CHECK_LE\\( offset,");
    EXPECT_DEATH(text.erase(2, SIZE_MAX), "CHECK_LE\\( n,size");
    EXPECT_DEATH(text.erase(3, 0), "CHECK_LT\\( start,size");
    EXPECT_DEATH(text.find("a", 4), "CHECK_LE\\( start,size");
    EXPECT_DEATH(text.insert("x", 1, 4), "CHECK_LE\\( insertionPos,");
    EXPECT_DEATH(text.setTo(text, 0, 1), "CHECK\\(&from != this");
}

TEST(ABufferTest, borrowsOrCopiesForeignMemory) {
    char bytes[] = "abc";
    sp<ABuffer> borrowed = new ABuffer(bytes, 3);
    const sp<ABuffer> copied = ABuffer::CreateAsCopy(bytes, 3);
    bytes[0] = 'x';
    EXPECT_EQ(memcmp("xbc", borrowed->data(), 3), 0);
    EXPECT_EQ(memcmp("abc", copied->data(), 3), 0);
    borrowed.clear();
    EXPECT_STREQ(bytes, "xbc");
    const sp<ABuffer> buffer = new ABuffer(8);
    buffer->setRange(2, 3);
    EXPECT_EQ(buffer->data(), buffer->base() + 2);
    EXPECT_EQ(buffer->size(), 3u);
    EXPECT_EQ(buffer->meta(), buffer->meta());
    EXPECT_DEATH(buffer->setRange(9, 0), "CHECK_LE");
    EXPECT_DEATH(buffer->setRange(4, 5), "CHECK_LE");
    EXPECT_DEATH(buffer->setRange(1, SIZE_MAX), "CHECK_LE");
}

// The sanitizers' allocators end the process instead of answering that there is no memory.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(ABufferTest, isEmptyWithoutMemory) {
    volatile size_t tooMuch = SIZE_MAX / 2;
    const sp<ABuffer> buffer = new ABuffer(tooMuch);
    EXPECT_EQ(buffer->base(), nullptr);
    EXPECT_EQ(buffer->capacity(), 0u);
    EXPECT_EQ(buffer->size(), 0u);
    char byte = 0;
    EXPECT_EQ(ABuffer::CreateAsCopy(&byte, tooMuch).get(), nullptr);
}
#endif

#define KEY_PATH "path"

// The text of a failed check is what field tools match on: file, line, blanks, expansion of macros
// and values must be exactly these. One line each, so that the number stands beside the check.
// clang-format off
const struct {
    int line;
    void (*run)();
    const char* text;
} kFatalCases[] = {
    {__LINE__, [] { CHECK(strlen(KEY_PATH) == 0); }, "CHECK(strlen(KEY_PATH) == 0) failed."},
    {__LINE__, [] { status_t err = -38; CHECK_EQ(err, (status_t)OK); }, "CHECK_EQ( err,(status_t)OK) failed: -38 vs. 0"},
    {__LINE__, [] { CHECK_EQ(AString("x"), AString(KEY_PATH)); }, "CHECK_EQ( AString(\"x\"),AString(\"path\")) failed: x vs. path"},
    {__LINE__, [] { unsigned n = 4294967295u; CHECK_NE(n, n); }, "CHECK_NE( n,n) failed: 4294967295 vs. 4294967295"},
    {__LINE__, [] { CHECK_LE(2.5, 1.0); }, "CHECK_LE( 2.5,1.0) failed: 2.500000 vs. 1.000000"},
    {__LINE__, [] { int64_t t = -7; CHECK_LT(t, t); }, "CHECK_LT( t,t) failed: -7 vs. -7"},
    {__LINE__, [] { CHECK_GE('a', 'b'); }, "CHECK_GE( 'a','b') failed: a vs. b"},
    {__LINE__, [] { size_t n = 0; CHECK_GT(n, 0u); }, "CHECK_GT( n,0u) failed: 0 vs. 0"},
    {__LINE__, [] { TRESPASS(); }, "Should not be here. "},
    {__LINE__, [] { TRESPASS("state %d", 4); }, "Should not be here. state 4"},
};
// clang-format on

TEST(CheckTest, abortsWithFileLineAndText) {
    for (const auto& fatal : kFatalCases) {
        const std::string text =
                std::string(__FILE__) + ":" + std::to_string(fatal.line) + " " + fatal.text + "\n";
        EXPECT_EXIT(fatal.run(), testing::KilledBySignal(SIGABRT), testing::HasSubstr(text));
    }
    int evaluations = 0;
    const auto next = [&evaluations] { return ++evaluations; };
    if (next() == 0)
        CHECK_EQ(1, 2);
    else
        CHECK_LT(1, next());
    EXPECT_EQ(evaluations, 2) << "each operand once";
}

TEST(AsStringTest, namesStatusValues) {
    EXPECT_STREQ(asString(OK), "NO_ERROR");
    EXPECT_STREQ(asString(-38), "INVALID_OPERATION");
    EXPECT_STREQ(asString(INT32_MIN), "UNKNOWN_ERROR");
    EXPECT_STREQ(asString(-1011), "??");
    EXPECT_STREQ(asString(7, "other"), "other");
}

}  // namespace
}  // namespace android
