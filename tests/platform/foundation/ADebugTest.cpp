// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "ADebugTest"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <media/stagefright/foundation/ADebug.h>
#include <signal.h>

namespace android {
namespace {

#define KEY_PATH "path"
#define KEY_COUNT 3

bool contains(const char* name) {
    return name == nullptr;
}

struct FatalCase {
    int line;
    void (*run)();
    const char* text;
};

// The text of a failed check is what field tools match on: file, line, blanks, expansion of macros
// and values must be exactly these. One line each, so that the number stands beside the check.
// clang-format off
const FatalCase kFatalCases[] = {
    {__LINE__, [] { CHECK(contains(KEY_PATH)); }, "CHECK(contains(KEY_PATH)) failed."},
    {__LINE__, [] { int x = 0; CHECK(&x == NULL); }, "CHECK(&x == NULL) failed."},
    {__LINE__, [] { status_t err = -38; CHECK_EQ(err, (status_t)OK); }, "CHECK_EQ( err,(status_t)OK) failed: -38 vs. 0"},
    {__LINE__, [] { CHECK_EQ(2, KEY_COUNT); }, "CHECK_EQ( 2,3) failed: 2 vs. 3"},
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

TEST(CheckTest, AbortsWithFileLineAndText) {
    for (const FatalCase& fatal : kFatalCases) {
        std::string text =
                std::string(__FILE__) + ":" + std::to_string(fatal.line) + " " + fatal.text + "\n";
        EXPECT_EXIT(fatal.run(), ::testing::KilledBySignal(SIGABRT), ::testing::HasSubstr(text));
    }
}

TEST(CheckTest, IsOneStatementThatEvaluatesEachOperandOnce) {
    int evaluations = 0;
    auto next = [&evaluations] { return ++evaluations; };
    CHECK_EQ(next(), 1);
    CHECK(next() == 2);
    if (evaluations == 0)
        CHECK_EQ(1, 2);
    else
        CHECK_LT(2, next());
    EXPECT_EQ(3, evaluations);
}

TEST(AsStringTest, NamesStatusValues) {
    EXPECT_STREQ("NO_ERROR", asString(OK));
    EXPECT_STREQ("INVALID_OPERATION", asString(-38));
    EXPECT_STREQ("UNKNOWN_ERROR", asString(INT32_MIN));
    EXPECT_STREQ("??", asString(-1011));
    EXPECT_STREQ("other", asString(7, "other"));
}

}  // namespace
}  // namespace android
