// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "codec/TimeSpreader.h"
#include "support/Test.h"

namespace oxa::test {
namespace {

using namespace android;

using Times = std::vector<int64_t>;

// What becomes of pictures with these times, 40 apart by their rate. Each one's number goes with
// it.
Times spread(const Times& times) {
    TimeSpreader spreader;
    spreader.start(40, 1);
    Times result;
    AVFrame* frame = av_frame_alloc();
    const auto take = [&] {
        EXPECT_EQ(static_cast<int64_t>(result.size()), frame->pkt_pos);
        result.push_back(frame->pts);
    };
    for (size_t i = 0; i < times.size(); ++i) {
        frame->pts = times[i];
        frame->pkt_pos = static_cast<int64_t>(i);
        if (spreader.passes(frame)) take();
        while (spreader.pull(frame))
            take();
    }
    spreader.finish();
    while (spreader.pull(frame))
        take();
    av_frame_free(&frame);
    return result;
}

TEST(TimeSpreader, GivesEachPictureATimeOfItsOwn) {
    const struct {
        const char* what;
        Times times;
        Times expected;
    } kCases[] = {
            {"those that rise stay", {-5, 0, 1, 1000, 1040}, {-5, 0, 1, 1000, 1040}},
            {"halfway to the next", {0, 0, 60, 100}, {0, 30, 60, 100}},
            {"thirds", {0, 40, 40, 40, 100}, {0, 40, 60, 80, 100}},
            {"one that falls back", {0, 40, 10, 120}, {0, 40, 80, 120}},
            {"no farther than the rate", {0, 0, 1000}, {0, 40, 1000}},
            {"at the end", {0, 40, 40}, {0, 40, 80}},
            {"no room", {0, 0, 0, 1, 2, 40}, {0, 1, 2, 3, 21, 40}},
            {"a long run", {0, 0, 0, 0, 0, 0, 0, 280}, {0, 40, 80, 120, 160, 200, 240, 280}},
            {"a long run that goes on",
             {0, 0, 0, 0, 0, 0, 0, 0, 40, 80, 360},
             {0, 40, 80, 120, 160, 200, 240, 280, 320, 360, 400}},
    };
    for (const auto& test : kCases) {
        SCOPED_TRACE(test.what);
        EXPECT_EQ(test.expected, spread(test.times));
    }
}

}  // namespace
}  // namespace oxa::test
