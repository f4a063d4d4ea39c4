// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <media/stagefright/foundation/AString.h>
#include <utils/String8.h>

namespace android {
namespace {

TEST(AStringTest, TakesTextFromEverySource) {
    const char* none = nullptr;
    EXPECT_STREQ("", AString(none).c_str());
    EXPECT_STREQ("", AString(none, 3).c_str());
    EXPECT_STREQ("ab", AString("abc", 2).c_str());
    EXPECT_STREQ("abc", AString(String8("abc")).c_str());
    EXPECT_STREQ("bc", AString(AString("abcd"), 1, 2).c_str());
}

TEST(AStringTest, AppendsValuesAsText) {
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
    text.append(AStringPrintf("%s-%02d", "a", 7));
    EXPECT_STREQ("x-12-34-5184467440737095516150.500000-1.250000yb0x1fa-07", text.c_str());
    EXPECT_EQ(5000u, AStringPrintf("%5000d", 1).size());
}

TEST(AStringTest, EditsInPlace) {
    AString text(" \t\n");
    text.trim();
    EXPECT_TRUE(text.empty());
    text = " \t Video/AVC \n";
    text.trim();
    EXPECT_STREQ("Video/AVC", text.c_str());
    text.tolower();
    EXPECT_STREQ("video/avc", text.c_str());
}

TEST(AStringTest, FindsAndCompares) {
    AString mime("video/avc; video");
    EXPECT_EQ(0, mime.find("video"));
    EXPECT_EQ(11, mime.find("video", 1));
    EXPECT_EQ(-1, mime.find("audio"));

    EXPECT_TRUE(mime.startsWith("video/"));
    EXPECT_FALSE(mime.startsWith("VIDEO/"));
    EXPECT_TRUE(mime.endsWith("; video"));
    EXPECT_TRUE(mime.endsWithIgnoreCase("VIDEO"));
    EXPECT_FALSE(AString("v").endsWith("video"));

    EXPECT_LT(AString("a"), AString("b"));
    EXPECT_GT(AString("b").compare("a"), 0);
    EXPECT_EQ(0, AString("A").compareIgnoreCase("a"));
    EXPECT_NE(AString("a"), AString("A"));
}

// The device reads what lies behind the string in these cases.
TEST(AStringDeathTest, RefusesPartsOutsideTheOtherString) {
    AString text("abc");
    EXPECT_DEATH(AString(text, 1, 3), "CHECK_LE\\( n,");
    EXPECT_DEATH(AString(text, 4, 0), "CHECK_LE\\( offset,");
    EXPECT_DEATH(text.erase(2, SIZE_MAX), "CHECK_LE\\( n,");
}

}  // namespace
}  // namespace android
