// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "audio/PacedWriter.h"
#include "support/Test.h"

namespace android {
namespace {

constexpr int64_t kWantedUs = 15000;

std::vector<int64_t> answers(PacedWriter& writer, const std::vector<int64_t>& delaysMs) {
    std::vector<int64_t> result;
    for (const int64_t delayMs : delaysMs)
        result.push_back(writer.onWrite(delayMs * 1000, kWantedUs));
    return result;
}

TEST(PacedWriterTest, isLateByTheLeastDelayOnceThePiecesThatCatchUpHavePassed) {
    PacedWriter writer;
    EXPECT_EQ(std::vector<int64_t>(3), answers(writer, {16, 12, 45}));
    writer.onUnderrun();
    const std::vector<int64_t> found = answers(writer, {20, 35, 50, 48, 49, 47});
    EXPECT_EQ((std::vector<int64_t>{0, 0, 0, 0, 0, 32000}), found);
    // Looks again, until there is nothing to mend.
    EXPECT_EQ((std::vector<int64_t>{0, 0, 0, 0, 0, 5000}),
              answers(writer, {47, 30, 20, 20, 20, 20}));
    EXPECT_EQ(std::vector<int64_t>(6), answers(writer, {15, 15, 15, 15, 15, 15}));
    EXPECT_EQ(std::vector<int64_t>(12), answers(writer, std::vector<int64_t>(12, 40)));
}

TEST(PacedWriterTest, theFirstPieceMayHaveBeenLate) {
    PacedWriter writer;
    EXPECT_EQ(std::vector<int64_t>(19), answers(writer, std::vector<int64_t>(19, 24)));
    EXPECT_EQ((std::vector<int64_t>{9000}), answers(writer, {25}));
    EXPECT_EQ(std::vector<int64_t>(12), answers(writer, std::vector<int64_t>(12, 15)));
}

TEST(PacedWriterTest, aGapInTheSoundIsNoLateness) {
    PacedWriter writer;
    answers(writer, {15, 15, 15});
    writer.onUnderrun();
    EXPECT_EQ(std::vector<int64_t>(18), answers(writer, std::vector<int64_t>(18, 16)));
}

TEST(PacedWriterTest, aWriterWhoIsAheadIsLeftAlone) {
    PacedWriter writer;
    answers(writer, {15, 30, 45, 60, 75, 90});
    EXPECT_EQ(std::vector<int64_t>(40), answers(writer, std::vector<int64_t>(40, 40)));
    writer.onUnderrun();
    EXPECT_EQ(std::vector<int64_t>(18), answers(writer, std::vector<int64_t>(18, 200)));
}

}  // namespace
}  // namespace android
