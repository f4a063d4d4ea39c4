// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// The kit's own tests: only where a measurement that lies would let a fault pass.

#include "support/MediaProbe.h"
#include "support/Sound.h"
#include "support/SyncMeasure.h"
#include "support/Test.h"

namespace oxa::test {
namespace {

TEST(MediaProbeTest, tellsDamageFromHealth) {
    ClipOptions options;
    options.extension = "ts";
    const std::string whole = testClip(options);
    EXPECT_EQ(MediaProbe(whole).video()->frameCount, 75);
    EXPECT_EQ(MediaProbe(whole).video()->decodeErrors, 0);
    const MediaProbe damaged(dropTsPackets(whole, 20));
    ASSERT_TRUE(damaged.ok());
    EXPECT_GT(damaged.video()->decodeErrors + damaged.audio()->decodeErrors, 0);
    EXPECT_FALSE(MediaProbe(garbageFile(100000)).ok());
}

TEST(SoundTest, measuresLevelFrequencyAndLag) {
    constexpr int kRate = 44100;
    const std::vector<float> tone = sine(997, 0.5, kRate, kRate);
    EXPECT_NEAR(levelDb(tone), -9.03, 0.05);
    EXPECT_NEAR(toneDb(tone, kRate, 997), -6.02, 0.05);
    EXPECT_LT(toneDb(tone, kRate, 2000), -60);
    EXPECT_NEAR(dominantFrequency(tone, kRate), 997, 0.5);
    EXPECT_EQ(levelDb(std::vector<float>(100, 0.0f)), kSilenceDb);

    std::vector<float> burst(8000, 0.0f);
    for (int i = 0; i < 300; ++i)
        burst[4000 + i] = std::sin(0.02f * i * i);
    std::vector<float> later(8123, 0.0f);
    std::copy(burst.begin(), burst.end(), later.begin() + 123);
    EXPECT_EQ(correlationLag(burst, later, 1000), 123);
    EXPECT_EQ(correlationLag(later, burst, 1000), -123);
}

// Fails if a flash is taken a picture late, if codec delay or smeared edges move a beep, or if the
// sign is wrong: then every measured offset of a job would be worth nothing.
TEST(SyncMeasureTest, findsTheOffsetThatAClipWasMadeWith) {
    struct KnownOffset {
        double offsetMs;
        int frameRate;
        const char *extension, *audioCodec;
        int sampleRate;
    };
    for (const KnownOffset& known :
         {KnownOffset{0, 25, "mkv", "pcm_s16le", 48000}, KnownOffset{80, 25, "mp4", "aac", 44100},
          KnownOffset{-150, 30, "mp4", "aac", 48000}, KnownOffset{0, 12, "mp4", "aac", 8000}}) {
        SCOPED_TRACE(known.offsetMs);
        ClipOptions options;
        options.seconds = 4;
        options.extension = known.extension;
        options.frameRateNum = known.frameRate;
        options.audioCodec = known.audioCodec;
        options.sampleRate = known.sampleRate;
        const SyncMeasure measure = measureSync(flashBeepClip(options, known.offsetMs));
        EXPECT_EQ(measure.flashesMs.size(), 4u);
        ASSERT_EQ(measure.offsetsMs.size(), measure.flashesMs.size());
        for (double offset : measure.offsetsMs)
            EXPECT_NEAR(offset, known.offsetMs, 1.0);
    }
    ClipOptions silent;
    silent.audio = false;
    EXPECT_TRUE(measureSync(flashBeepClip(silent)).offsetsMs.empty());
}

}  // namespace
}  // namespace oxa::test
