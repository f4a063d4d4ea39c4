// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "codec/SoundTimeline.h"

#include "support/Sound.h"
#include "support/Test.h"

namespace android {
namespace {

constexpr int kRate = 48000;
constexpr int kBlockFrames = 960;
constexpr int64_t kBlockUs = 20000;
constexpr int kBlocks = 208;  // so that the rows of wrong stamps below end with a right one

// Keeps what comes out; a stretch counts, but is not made.
class Collector : public SoundTimeline::Output {
  public:
    explicit Collector(int64_t startUs = 0) : mStartUs(startUs) {}

    int64_t endUs() const override {
        return mStartUs + mStretchedUs + static_cast<int64_t>(pcm.size()) * 1000000 / kRate;
    }
    bool put(const int16_t* samples, int frames) override {
        pcm.insert(pcm.end(), samples, samples + frames);
        return true;
    }
    bool stretch(int64_t us) override {
        mStretchedUs += us;
        return true;
    }
    int64_t stretchedUs() const { return mStretchedUs; }

    std::vector<int16_t> pcm;

  private:
    const int64_t mStartUs;
    int64_t mStretchedUs = 0;
};

// The stamp of block `k`, whose sound is 20 ms long.
using Stamps = std::function<int64_t(int k)>;

Stamps inTimeBut(const std::function<int64_t(int k)>& offUs) {
    return [offUs](int k) { return k * kBlockUs + offUs(k); };
}

// Sound of which each piece is found again.
std::vector<int16_t> uniqueSound() {
    std::vector<int16_t> pcm(size_t{kBlocks} * kBlockFrames);
    uint32_t state = 1;
    for (int16_t& sample : pcm) {
        state = state * 1664525 + 1013904223;
        sample = static_cast<int16_t>(state >> 18);
    }
    return pcm;
}

void run(const std::vector<int16_t>& pcm, const Stamps& stamps, Collector* collector) {
    SoundTimeline timeline;
    timeline.start(1, kRate, collector);
    for (int k = 0; k < kBlocks; ++k)
        ASSERT_TRUE(timeline.add(pcm.data() + k * kBlockFrames, kBlockFrames, stamps(k)));
    ASSERT_TRUE(timeline.finish());
}

// How far the middle of block `k` is from the place that its stamp says, in ms; a large number when
// it is not within 20 ms of it.
double misplacedMs(const std::vector<int16_t>& source, const std::vector<int16_t>& placed, int k,
                   int64_t stampUs) {
    constexpr int64_t kProbe = 64;
    constexpr int64_t kWithin = kRate / 50;
    const int64_t middle = kBlockFrames / 2;
    const int16_t* probe = source.data() + k * kBlockFrames + middle;
    const int64_t expected = stampUs * kRate / 1000000 + middle;
    const auto size = static_cast<int64_t>(placed.size());
    const auto from = placed.begin() + std::clamp<int64_t>(expected - kWithin, 0, size);
    const auto to = placed.begin() + std::clamp<int64_t>(expected + kWithin + kProbe, 0, size);
    const auto found = std::search(from, to, probe, probe + kProbe);
    if (found == to) return 1000;
    return (static_cast<double>(found - placed.begin()) - static_cast<double>(expected)) * 1000 /
           kRate;
}

// What is off is in its place at once, before and behind the step, whatever its size; steps add up
// to nothing.
TEST(SoundTimelineTest, gapsAndOverlapsKeepTheirPlaces) {
    // And how many blocks there are of which an overlap leaves nothing in its middle.
    const std::tuple<const char*, Stamps, int> kCases[] = {
            {"in time", inTimeBut([](int) { return 0; }), 0},
            {"30 ms", inTimeBut([](int k) { return k < 70 ? 0 : 30000; }), 0},
            {"60 and 90 ms", inTimeBut([](int k) { return k < 50   ? 0
                                                          : k < 90 ? 60000
                                                                   : 150000; }),
             0},
            {"two minutes", inTimeBut([](int k) { return k < 100 ? 0 : 120000000; }), 0},
            {"a second", inTimeBut([](int k) { return k < 100 ? 0 : 1000000; }), 0},
            {"5 ms", inTimeBut([](int k) { return k < 100 ? 0 : 5000; }), 0},
            {"3 ms every 100 ms", inTimeBut([](int k) { return k / 5 * 3000; }), 0},
            {"10 ms every 40 ms", inTimeBut([](int k) { return k / 2 * 10000; }), 0},
            {"overlap of 5 ms", inTimeBut([](int k) { return k < 60 ? 0 : -5000; }), 0},
            {"overlap of 30 ms", inTimeBut([](int k) { return k < 60 ? 0 : -30000; }), 2},
            {"overlap of 90 ms", inTimeBut([](int k) { return k < 60 ? 0 : -90000; }), 5},
            {"overlap of a second", inTimeBut([](int k) { return k < 60 ? 0 : -1000000; }), 50},
            {"at the end", inTimeBut([](int k) { return k < kBlocks - 2 ? 0 : 900000; }), 0},
            {"before the last", inTimeBut([](int k) { return k < kBlocks - 1 ? 0 : 60000; }), 0},
    };
    const std::vector<int16_t> source = uniqueSound();
    for (const auto& [name, stamps, mayBeLost] : kCases) {
        SCOPED_TRACE(name);
        Collector collector;
        run(source, stamps, &collector);
        int lost = 0;
        for (int k = 0; k < kBlocks; ++k) {
            const double off = misplacedMs(source, collector.pcm, k, stamps(k));
            if (off == 1000) {
                ++lost;
            } else {
                EXPECT_LE(std::abs(off), 3.6) << "block " << k;
            }
        }
        EXPECT_LE(lost, mayBeLost);
        EXPECT_NEAR(static_cast<double>(collector.pcm.size()) / kRate,
                    (stamps(kBlocks - 1) + kBlockUs) / 1e6, 0.0036);
    }
}

// Containers round, threads of live sources are late and then bring all at once, and single stamps
// are wrong. None of it may touch a sample.
TEST(SoundTimelineTest, stampsThatComeBackMoveNothing) {
    const std::pair<const char*, Stamps> kCases[] = {
            {"rounded", inTimeBut([](int k) { return k % 3 * 500 - 500; })},
            {"a late thread", [](int k) { return (k + 8) / 9 * 9 * kBlockUs; }},
            {"a very late thread", [](int k) { return (k + 22) / 23 * 23 * kBlockUs; }},
            {"one that is late by more than a second",
             [](int k) { return (k > 40 && k < 100 ? 100 : k) * kBlockUs; }},
            {"at random", inTimeBut([](int k) { return k * 7919 % 23 * 1000 - 11000; })},
            {"one late", inTimeBut([](int k) { return k == 40 ? 5000000 : 0; })},
            {"the last", inTimeBut([](int k) { return k == kBlocks - 1 ? 5000000 : 0; })},
            {"one early", inTimeBut([](int k) { return k == 40 ? -700000 : 0; })},
            {"a sudden end of time", [](int k) { return k == 40 ? INT64_MAX : k * kBlockUs; }},
            {"before all time", [](int k) { return k >= 40 ? INT64_MIN : k * kBlockUs; }},
    };
    const std::vector<int16_t> source = uniqueSound();
    for (const auto& [name, stamps] : kCases) {
        SCOPED_TRACE(name);
        Collector collector(stamps(0));
        run(source, stamps, &collector);
        EXPECT_TRUE(collector.pcm == source);
        EXPECT_EQ(collector.stretchedUs(), 0);
    }
}

// Stamps that never settle hold no more than two seconds of sound.
TEST(SoundTimelineTest, stampsThatKeepComingNearerAreNotWaitedForWithoutEnd) {
    constexpr int kMostBlocks = 100;
    const std::vector<int16_t> source = uniqueSound();
    Collector collector;
    SoundTimeline timeline;
    timeline.start(1, kRate, &collector);
    for (int k = 0; k < kMostBlocks; ++k) {
        EXPECT_TRUE(collector.pcm.empty()) << "block " << k;
        const int64_t stampUs = 10'000'000 + k * (kBlockUs - 5000);
        ASSERT_TRUE(timeline.add(source.data() + k * kBlockFrames, kBlockFrames, stampUs));
    }
    EXPECT_FALSE(collector.pcm.empty());
}

// A row of small deviations is a drift: it is stretched away without touching a sample here.
TEST(SoundTimelineTest, driftIsStretchedAway) {
    for (const int64_t perBlockUs : {20, -20, 30}) {
        SCOPED_TRACE(perBlockUs);
        const Stamps stamps = inTimeBut([perBlockUs](int k) { return k * perBlockUs; });
        const std::vector<int16_t> source = uniqueSound();
        Collector collector;
        run(source, stamps, &collector);
        EXPECT_TRUE(collector.pcm == source);
        EXPECT_NEAR(collector.stretchedUs(), perBlockUs * kBlocks, 3000);
    }
}

// The waveform of a tone is cut at its peak: an edge would be as high as the tone is.
TEST(SoundTimelineTest, stepsDoNotClick) {
    constexpr double kFrequency = 437.5;
    constexpr double kAmplitude = 0.5;
    const std::vector<int16_t> source =
            oxa::test::tones({kFrequency}, kAmplitude, kRate, size_t{kBlocks} * kBlockFrames);
    for (const int64_t stepUs : {5000, 30000, 500000, -5000, -30300, -500300}) {
        SCOPED_TRACE(stepUs);
        Collector collector;
        run(source, inTimeBut([stepUs](int k) { return k < 61 ? 0 : stepUs; }), &collector);
        double sharpest = 0;
        for (size_t i = 2; i < collector.pcm.size(); ++i) {
            const double bend =
                    collector.pcm[i] - 2.0 * collector.pcm[i - 1] + collector.pcm[i - 2];
            sharpest = std::max(sharpest, std::abs(bend) / 32768);
        }
        // Twice the tone's own slope: it turns back at a mirror.
        EXPECT_LT(sharpest, 2.5 * kAmplitude * 2 * M_PI * kFrequency / kRate);
    }
}

}  // namespace
}  // namespace android
