// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "container/TimelineSmoother.h"

namespace android {
namespace {

constexpr int64_t kSecond = 1000000;

struct Packet {
    int stream;
    int64_t time;  // milliseconds, and a duration of 500
};

std::vector<int64_t> smooth(const std::vector<Packet>& packets) {
    TimelineSmoother smoother;
    std::vector<int64_t> times;
    for (const Packet& packet : packets) {
        const int64_t timeUs = packet.time * 1000;
        const int64_t shiftUs = smoother.shiftFor(packet.stream, timeUs, kSecond / 2);
        times.push_back((timeUs + shiftUs) / 1000);
    }
    return times;
}

struct Case {
    const char* name;
    std::vector<Packet> packets;
    std::vector<int64_t> expected;
};

class TimelineSmootherTest : public ::testing::TestWithParam<Case> {};

TEST_P(TimelineSmootherTest, GoesOn) {
    EXPECT_THAT(smooth(GetParam().packets), testing::ElementsAreArray(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
        Timelines, TimelineSmootherTest,
        testing::Values(
                Case{"StartsAnywhere", {{0, 95000}, {1, 95100}}, {95000, 95100}},
                Case{"KeepsPauses", {{0, 0}, {0, 9000}, {0, 9500}}, {0, 9000, 9500}},
                Case{"JumpsForward", {{0, 0}, {0, 100000}, {0, 100500}}, {0, 500, 1000}},
                Case{"JumpsBack",
                     {{0, 50000}, {0, 50500}, {0, 0}, {0, 500}},
                     {50000, 50500, 51000, 51500}},
                // The sound's last packet of the old part is written behind the picture's first
                // one of the new part, as demuxers do, and must not be taken for another jump.
                Case{"LateOldPacket",
                     {{0, 0}, {1, 20}, {0, 100000}, {1, 520}, {0, 100500}, {1, 100520}},
                     {0, 20, 500, 520, 1000, 1020}},
                Case{"LateOldPacketAfterStepBack",
                     {{0, 7000}, {1, 7020}, {0, 0}, {1, 7520}, {0, 500}, {1, 1020}},
                     {7000, 7020, 7500, 7520, 8000, 8520}},
                // Both tracks move by one shift: their distance stays.
                Case{"KeepsTheDistanceOfTracks",
                     {{0, 0}, {1, 200}, {0, 60000}, {1, 60200}, {0, 60500}, {1, 60700}},
                     {0, 200, 500, 700, 1000, 1200}},
                Case{"NewStreamAfterAJump", {{0, 0}, {1, 90000}, {0, 90000}}, {0, 500, 500}}),
        [](const auto& info) { return info.param.name; });

TEST(TimelineSmootherResetTest, StartsAfresh) {
    TimelineSmoother smoother;
    smoother.shiftFor(0, 0, 0);
    EXPECT_EQ(smoother.shiftFor(0, 60 * kSecond, 0), -60 * kSecond);
    smoother.reset();
    EXPECT_EQ(smoother.shiftFor(0, 90 * kSecond, 0), 0);
}

}  // namespace
}  // namespace android
