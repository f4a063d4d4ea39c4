// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "cli/PlayerProgram.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

// How picture and sound lie together in what `transcode` writes.
class TrackOrderTest : public testing::TestWithParam<const char*> {
  protected:
    TempDir mFolder;
    const std::string mOutput = mFolder.file(std::string("out.") + GetParam());
};
INSTANTIATE_TEST_SUITE_P(Containers, TrackOrderTest, testing::Values("mp4", "ts"),
                         [](const auto& info) { return info.param; });

// A hardware player, and whoever cuts a stream, reads both tracks at one place. The picture's
// encoder is far slower than the sound's here; one clip's sound begins late.
TEST_P(TrackOrderTest, tracksLieTogetherHoweverSlowThePictureIs) {
    transcode(mediaPath("friday_audio_starts_1200ms.mp4"), mOutput, "--preset medium");
    EXPECT_LE(largestLeadUs(mOutput), 500'000);
}

// What threads do in which order must not show.
TEST_P(TrackOrderTest, equalJobsMakeEqualFiles) {
    std::string first;
    for (int round = 0; round < testRounds(4); ++round) {
        transcode(mediaPath("flower_540p_h264_aac.mp4"), mOutput, "--preset ultrafast");
        const std::string bytes = readFile(mOutput);
        if (round == 0) first = bytes;
        ASSERT_FALSE(bytes.empty());
        EXPECT_TRUE(bytes == first) << "round " << round;
    }
}

// A film that was given up is short, but whole: or it is not there.
TEST_P(TrackOrderTest, tracksOfAnInterruptedJobEndTogether) {
    constexpr int kUsualRounds = 5;
    constexpr unsigned kLatestMs = 3000;
    std::mt19937 random(2);
    for (int round = 0; round < testRounds(kUsualRounds); ++round) {
        const std::chrono::milliseconds delay(random() % kLatestMs);
        SCOPED_TRACE("interrupted after " + std::to_string(delay.count()) + " ms");
        const ProcessResult result =
                player({"transcode", mediaPath("bunny_360p_aac51.ts"), "-o", mOutput, "--size",
                        "1280x720", "--preset", "slow", "--force", "--json"})
                        .signalOnText(0, "\"start\"")
                        .signalAfter(SIGINT, delay)
                        .run();
        ASSERT_EQ(result.exitCode, 130) << result.err;
        if (!std::filesystem::exists(mOutput)) {
            EXPECT_TRUE(namesIn(mFolder.path()).empty());
            continue;
        }
        const MediaProbe probe(mOutput);
        ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
        EXPECT_NEAR(probe.video()->endUs, probe.audio()->endUs, 200'000);
        EXPECT_EQ(probe.video()->frameCount, eventsOf(result.out).back()["frames"].get<int64_t>());
        EXPECT_LE(largestLeadUs(mOutput), 500'000);
        std::filesystem::remove(mOutput);
    }
}

}  // namespace
}  // namespace oxa::test
