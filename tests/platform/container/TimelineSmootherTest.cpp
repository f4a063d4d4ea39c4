// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <vector>

#include "container/TimelineSmoother.h"

namespace android {
namespace {

struct Packet {
    int stream;
    int64_t time;  // milliseconds, and a duration of 500
};

TEST(TimelineSmootherTest, GoesOnWhereTheTimesJump) {
    const struct {
        const char* name;
        std::vector<Packet> packets;
        std::vector<int64_t> expected;
    } kTimelines[] = {
            {"starts anywhere", {{0, 95000}, {1, 95100}}, {95000, 95100}},
            {"keeps pauses", {{0, 0}, {0, 9000}, {0, 9500}}, {0, 9000, 9500}},
            {"jumps forward", {{0, 0}, {0, 100000}, {0, 100500}}, {0, 500, 1000}},
            {"jumps back",
             {{0, 50000}, {0, 50500}, {0, 0}, {0, 500}},
             {50000, 50500, 51000, 51500}},
            // The sound's last packet of the old part is written behind the picture's first one of
            // the new part, as demuxers do, and must not be taken for another jump.
            {"late old packet",
             {{0, 0}, {1, 20}, {0, 100000}, {1, 520}, {0, 100500}, {1, 100520}},
             {0, 20, 500, 520, 1000, 1020}},
            {"late old packet after a step back",
             {{0, 7000}, {1, 7020}, {0, 0}, {1, 7520}, {0, 500}, {1, 1020}},
             {7000, 7020, 7500, 7520, 8000, 8520}},
            // Both tracks move by one shift: their distance stays.
            {"keeps the distance of tracks",
             {{0, 0}, {1, 200}, {0, 60000}, {1, 60200}, {0, 60500}, {1, 60700}},
             {0, 200, 500, 700, 1000, 1200}},
            {"new stream after a jump", {{0, 0}, {1, 90000}, {0, 90000}}, {0, 500, 500}}};
    TimelineSmoother smoother;
    for (const auto& timeline : kTimelines) {
        smoother.reset();
        std::vector<int64_t> times;
        for (const Packet& packet : timeline.packets) {
            const int64_t timeUs = packet.time * 1000;
            times.push_back((timeUs + smoother.shiftFor(packet.stream, timeUs, 500000)) / 1000);
        }
        EXPECT_EQ(times, timeline.expected) << timeline.name;
    }
}

}  // namespace
}  // namespace android
