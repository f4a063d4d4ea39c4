// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "ADebugTest"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <media/stagefright/foundation/ADebug.h>
#include <signal.h>

namespace android {
namespace {

using ::testing::ExitedWithCode;
using ::testing::HasSubstr;
using ::testing::KilledBySignal;

#define KEY_PATH "path"
#define KEY_COUNT 3

bool contains(const char* name) {
    return name == nullptr;
}

struct FatalCase {
    const char* name;
    int line;
    void (*run)();
    const char* text;
};

// The text of a failed check is what field tools match on: file, line, blanks, expansion of macros
// and values must be exactly these. One line each, so that the number stands beside the check.
// clang-format off
const FatalCase kFatalCases[] = {
    {"Check", __LINE__, [] { CHECK(contains(KEY_PATH)); }, "CHECK(contains(KEY_PATH)) failed."},
    {"CheckNull", __LINE__, [] { int x = 0; CHECK(&x == NULL); }, "CHECK(&x == NULL) failed."},
    {"Eq", __LINE__, [] { status_t err = -38; CHECK_EQ(err, (status_t)OK); }, "CHECK_EQ( err,(status_t)OK) failed: -38 vs. 0"},
    {"EqExpandsMacros", __LINE__, [] { CHECK_EQ(2, KEY_COUNT); }, "CHECK_EQ( 2,3) failed: 2 vs. 3"},
    {"EqOfStrings", __LINE__, [] { CHECK_EQ(AString("x"), AString(KEY_PATH)); }, "CHECK_EQ( AString(\"x\"),AString(\"path\")) failed: x vs. path"},
    {"Ne", __LINE__, [] { unsigned n = 4294967295u; CHECK_NE(n, n); }, "CHECK_NE( n,n) failed: 4294967295 vs. 4294967295"},
    {"Le", __LINE__, [] { CHECK_LE(2.5, 1.0); }, "CHECK_LE( 2.5,1.0) failed: 2.500000 vs. 1.000000"},
    {"Lt", __LINE__, [] { int64_t t = -7; CHECK_LT(t, t); }, "CHECK_LT( t,t) failed: -7 vs. -7"},
    {"Ge", __LINE__, [] { CHECK_GE('a', 'b'); }, "CHECK_GE( 'a','b') failed: a vs. b"},
    {"Gt", __LINE__, [] { size_t n = 0; CHECK_GT(n, 0u); }, "CHECK_GT( n,0u) failed: 0 vs. 0"},
    {"Trespass", __LINE__, [] { TRESPASS(); }, "Should not be here. "},
    {"TrespassWithValues", __LINE__, [] { TRESPASS("state %d", 4); }, "Should not be here. state 4"},
};
// clang-format on

class FatalCheckTest : public ::testing::TestWithParam<FatalCase> {};

TEST_P(FatalCheckTest, AbortsWithFileLineAndText) {
    std::string text = std::string(__FILE__) + ":" + std::to_string(GetParam().line) + " " +
                       GetParam().text + "\n";
    EXPECT_EXIT(GetParam().run(), KilledBySignal(SIGABRT), HasSubstr(text));
}

INSTANTIATE_TEST_SUITE_P(, FatalCheckTest, ::testing::ValuesIn(kFatalCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(CheckTest, EvaluatesEachOperandOnceAndGoesOn) {
    int evaluations = 0;
    auto next = [&evaluations] { return ++evaluations; };
    CHECK_EQ(next(), 1);
    CHECK_LT(1, next());
    CHECK(next() == 3);
    EXPECT_EQ(3, evaluations);
}

TEST(CheckTest, IsOneStatement) {
    bool otherwise = false;
    if (asString(OK) == nullptr)
        CHECK_EQ(1, 2);
    else
        otherwise = true;
    EXPECT_TRUE(otherwise);
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
