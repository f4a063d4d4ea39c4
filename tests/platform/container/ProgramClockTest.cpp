// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "extractor/ProgramClock.h"
#include "support/Test.h"

namespace android {
namespace {

constexpr int64_t kMs = 1000;

// Packets of one stream, `count` of them, `stepMs` apart.
struct Run {
    int stream;
    int64_t timeMs;
    int count;
    int64_t expectedMs;  // where the first one belongs
    int64_t stepMs = 100;
};

struct Timeline : public oxa::test::Named {
    int64_t beginMs;
    // In the order of the file; the runs within a group are interleaved.
    std::vector<std::vector<Run>> groups;
};

struct Expected {
    std::vector<ProgramClock::Packet> packets;
    std::vector<int64_t> timesMs;
};

Expected interleave(const Timeline& timeline) {
    Expected all;
    for (const std::vector<Run>& group : timeline.groups) {
        for (int i = 0;; ++i) {
            const size_t before = all.packets.size();
            for (const Run& run : group) {
                if (i >= run.count) continue;
                all.packets.push_back(
                        {run.stream, (run.timeMs + i * run.stepMs) * kMs, run.stepMs * kMs});
                all.timesMs.push_back(run.expectedMs + i * run.stepMs);
            }
            if (all.packets.size() == before) break;
        }
    }
    return all;
}

class ProgramClockTest : public testing::TestWithParam<Timeline> {
  protected:
    void take(bool last) {
        ProgramClock::Place place;
        while (mClock.pop(last, &place)) {
            const int64_t timeUs = mExpected.packets[mTimesMs.size()].timeUs + place.shiftUs;
            mTimesMs.push_back(timeUs / kMs);
        }
    }

    const Expected mExpected = interleave(GetParam());
    ProgramClock mClock;
    std::vector<int64_t> mTimesMs;
};

TEST_P(ProgramClockTest, placesEveryPacket) {
    mClock.reset(GetParam().beginMs * kMs);
    size_t waiting = 0;
    for (size_t i = 0; i < mExpected.packets.size(); ++i) {
        mClock.push(mExpected.packets[i]);
        take(false);
        waiting = std::max(waiting, i + 1 - mTimesMs.size());
    }
    take(true);
    EXPECT_EQ(mTimesMs, mExpected.timesMs);
    EXPECT_LT(waiting, 100u);
}

constexpr int64_t kHour = 3600000;

const Timeline kTimelines[] = {
        {"Plain", 0, {{{0, 0, 50, 0}, {1, 20, 50, 20}}}},
        {"BeginsAgainThreeTimes",
         0,
         {{{0, 0, 30, 0}, {1, 0, 30, 0}},
          {{0, 0, 30, 3000}, {1, 0, 30, 3000}},
          {{0, 0, 30, 6000}, {1, 0, 30, 6000}}}},
        {"AloneJumps", 0, {{{0, 0, 20, 0}}, {{0, kHour, 20, 2000}}, {{0, 0, 20, 4000}}}},
        {"PausesTogether",
         0,
         {{{0, 0, 20, 0}, {1, 0, 20, 0}}, {{0, 9000, 20, 9000}, {1, 9000, 20, 9000}}}},
        // The sound's last packets are written behind the picture's first ones of the new part.
        {"LateOldPackets",
         7000,
         {{{0, 7000, 20, 7000}, {1, 7000, 10, 7000}},
          {{0, 0, 10, 9000}, {1, 8000, 10, 8000}},
          {{0, 1000, 20, 10000}, {1, 0, 20, 9000}}}},
        {"OneWildTimeBack",
         60000,
         {{{0, 60000, 20, 60000}, {1, 60000, 20, 60000}},
          {{0, 5, 1, 62000}, {1, 62000, 1, 62000}},
          {{0, 62100, 20, 62100}, {1, 62100, 20, 62100}}}},
        {"WildBySeconds", 0, {{{0, 0, 20, 0}}, {{0, 7000, 1, 2000}}, {{0, 2100, 20, 2100}}}},
        {"SomeWildTimesInARow",
         0,
         {{{0, 0, 20, 0}, {1, 0, 23, 0}},
          {{0, 2 * kHour, 3, 2000}},
          {{0, 2300, 20, 2300}, {1, 2300, 20, 2300}}}},
        {"WildAtTheVeryFirst",
         0,
         {{{0, 0, 1, 0}, {1, 5 * kHour, 1, 100}}, {{0, 100, 20, 100}, {1, 200, 20, 200}}}},
        {"WildAtTheVeryLast", 0, {{{0, 0, 20, 0}, {1, 0, 20, 0}}, {{0, kHour, 1, 2000}}}},
        // What the file's start was taken from was wild itself.
        {"StartWasWild",
         -kHour,
         {{{1, -kHour, 1, -kHour}}, {{0, 0, 20, -kHour + 100}, {1, 0, 20, -kHour + 100}}}},
        // Sound that was away for longer than any pause is where the picture has come to.
        {"OneTrackPauses",
         0,
         {{{0, 0, 20, 0}, {1, 0, 20, 0}},
          {{0, 2000, 600, 2000}},
          {{0, 62000, 20, 62000}, {1, 62000, 20, 62000}}}},
        {"OneTrackOverlaps",
         0,
         {{{0, 0, 40, 0}, {1, 0, 40, 0}}, {{0, 3500, 40, 3500}, {1, 4000, 40, 4000}}}},
        {"OneTrackBeginsAgain",
         0,
         {{{0, 0, 100, 0}, {1, 0, 100, 0}}, {{0, 0, 40, 10000}, {1, 10000, 40, 10000}}}},
        {"OneTrackRunsAway",
         0,
         {{{0, 0, 40, 0}, {1, 0, 40, 0}}, {{0, kHour, 40, 4000}, {1, 4000, 40, 4000}}}},
        {"ClocksNeverAgree", 0, {{{0, 0, 40, 0}, {1, 26 * kHour, 40, 100}}}},
        {"OneTrackBeginsLate",
         0,
         {{{0, 0, 300, 0}}, {{0, 30000, 20, 30000}, {1, 29900, 20, 29900}}}},
        {"OneBehindTheOther", 0, {{{0, 0, 600, 0}}, {{1, 0, 600, 0}}}},
        {"SlowPictures", 0, {{{0, 0, 10, 0, 30000}}}},
        {"EqualTimes", 0, {{{0, 0, 10, 0}}, {{0, 900, 1, 900}}, {{0, 1000, 10, 1000}}}},
};

INSTANTIATE_TEST_SUITE_P(Timelines, ProgramClockTest, testing::ValuesIn(kTimelines),
                         oxa::test::rowName<Timeline>);

// Slow pictures of which nobody says how long they last.
TEST(ProgramClockStepTest, keepsWhatIsSlowAndJoinsWhatIsNot) {
    const auto lastShiftMs = [](const std::vector<int64_t>& timesMs) {
        ProgramClock clock;
        ProgramClock::Place place;
        clock.reset(ProgramClock::kNoTime);
        for (int64_t timeMs : timesMs)
            clock.push({0, timeMs * kMs, 0});
        while (clock.pop(true, &place)) {
        }
        return place.shiftUs / kMs;
    };
    EXPECT_EQ(lastShiftMs({500, 30500, 65500, 90500, 125500}), 0);
    EXPECT_EQ(lastShiftMs({0, 40, 80, 30000, 30040, 30080}), 120 - 30000);
}

// After a seek anything may come first; a packet without a time moves nothing.
TEST(ProgramClockStepTest, beginsAnywhere) {
    ProgramClock clock;
    ProgramClock::Place place;
    clock.reset(ProgramClock::kNoTime);
    for (int64_t timeUs : {kHour * kMs, ProgramClock::kNoTime, kHour * kMs + 200 * kMs}) {
        clock.push({0, timeUs, 100 * kMs});
        ASSERT_TRUE(clock.pop(false, &place));
        EXPECT_EQ(place.shiftUs, 0);
    }
}

TEST(ProgramClockStepTest, seesAWildTimeOfPresentation) {
    ProgramClock clock;
    ProgramClock::Place place;
    clock.reset(0);
    for (int64_t reorderUs : {80 * kMs, 9000 * kMs, -20000 * kMs, 80 * kMs}) {
        clock.push({0, 0, 40 * kMs, true, reorderUs});
        ASSERT_TRUE(clock.pop(false, &place));
        EXPECT_EQ(place.isReorderWild, reorderUs < 0);
    }
}

}  // namespace
}  // namespace android
