// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/SyncMeasure.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/TestClips.h"

namespace oxa::test {
namespace {

struct KnownOffset {
    const char* name;
    double offsetMs;
    int frameRateNum;
    int frameRateDen;
    const char* audioCodec;
    int sampleRate;
};

void PrintTo(const KnownOffset& known, std::ostream* out) {
    *out << known.name;
}

class SyncMeasureTest : public testing::TestWithParam<KnownOffset> {};

// Fails if a flash is taken a picture late, if codec delay or smeared edges move a beep, or if the
// sign is wrong: then every measured offset of a job would be worth nothing.
TEST_P(SyncMeasureTest, FindsTheOffsetThatAClipWasMadeWith) {
    const KnownOffset& known = GetParam();
    ClipOptions options;
    options.seconds = 4;
    options.extension = "mkv";
    options.frameRateNum = known.frameRateNum;
    options.frameRateDen = known.frameRateDen;
    options.audioCodec = known.audioCodec;
    options.sampleRate = known.sampleRate;
    if (options.audioCodec == "aac") options.extension = "mp4";
    const SyncMeasure measure = measureSync(flashBeepClip(options, known.offsetMs));
    EXPECT_EQ(measure.flashesMs.size(), static_cast<size_t>(flashCount(options)));
    ASSERT_EQ(measure.offsetsMs.size(), measure.flashesMs.size());
    for (double offset : measure.offsetsMs)
        EXPECT_NEAR(offset, known.offsetMs, 1.0);
}

INSTANTIATE_TEST_SUITE_P(Clips, SyncMeasureTest,
                         testing::Values(KnownOffset{"in_sync_pcm", 0, 25, 1, "pcm_s16le", 48000},
                                         KnownOffset{"sound_late_aac", 80, 25, 1, "aac", 44100},
                                         KnownOffset{"sound_early_aac", -150, 30000, 1001, "aac",
                                                     48000},
                                         KnownOffset{"in_sync_aac_8khz", 0, 12, 1, "aac", 8000}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(SyncMeasureEmptyTest, GivesNoPairWithoutFlashesOrBeeps) {
    ClipOptions silent;
    silent.audio = false;
    EXPECT_TRUE(measureSync(flashBeepClip(silent)).offsetsMs.empty());
    EXPECT_TRUE(measureSync(mediaPath("roar.mp3")).offsetsMs.empty());
}

}  // namespace
}  // namespace oxa::test
