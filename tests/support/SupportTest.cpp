// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// The kit's own tests: only where a measurement that lies would let a fault pass.

#include <gtest/gtest.h>
#include <signal.h>

#include <cmath>

#include "support/Deadline.h"
#include "support/MediaProbe.h"
#include "support/Pictures.h"
#include "support/ProcessRunner.h"
#include "support/Sound.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

namespace oxa::test {
namespace {

using std::chrono::milliseconds;

// tests/media/README.md lists what the clips contain.
TEST(MediaProbeTest, CountsWhatAClipIsKnownToContain) {
    const MediaProbe flower(mediaPath("flower_540p_h264_aac.mp4"));
    ASSERT_TRUE(flower.ok()) << flower.error();
    ASSERT_NE(flower.video(), nullptr);
    ASSERT_NE(flower.audio(), nullptr);
    EXPECT_EQ(flower.video()->frameCount, 150);
    EXPECT_EQ(flower.video()->codec, "h264");
    EXPECT_EQ(flower.video()->width, 960);
    EXPECT_EQ(flower.video()->decodeErrors, 0);
    EXPECT_EQ(flower.audio()->channels, 2);
    EXPECT_NEAR(flower.video()->durationUs(), 150 * 1001000 / 30, 2000);

    const MediaProbe late(mediaPath("friday_video_starts_1s.mp4"));
    ASSERT_NE(late.video(), nullptr);
    EXPECT_NEAR(late.video()->firstUs(), 1000000, 1000);
    EXPECT_NEAR(late.audio()->firstUs(), 0, 25000);

    const MediaProbe rotated(mediaPath("bunny_rotated90_aac51.mp4"));
    ASSERT_NE(rotated.video(), nullptr);
    EXPECT_EQ(rotated.video()->rotation % 180, 90);
    EXPECT_EQ(rotated.audio()->channels, 6);
}

TEST(MediaProbeTest, TellsDamageFromHealth) {
    ClipOptions options;
    options.extension = "ts";
    const std::string whole = testClip(options);
    EXPECT_EQ(MediaProbe(whole).video()->decodeErrors, 0);
    const MediaProbe damaged(dropTsPackets(whole, 20));
    ASSERT_TRUE(damaged.ok());
    EXPECT_GT(damaged.video()->decodeErrors + damaged.audio()->decodeErrors, 0);
    EXPECT_FALSE(MediaProbe(garbageFile(100000)).ok());
    EXPECT_FALSE(MediaProbe("/nonexistent.mp4").ok());
}

TEST(PicturesTest, PsnrSeesEqualAndDifferentPictures) {
    ClipOptions options;
    options.seconds = 1;
    options.audio = false;
    options.videoArguments = {"-qp", "0"};
    const std::string clip = testClip(options);
    const PsnrResult same = comparePictures(clip, clip);
    EXPECT_EQ(same.countA, 25u);
    EXPECT_EQ(same.lowestY, kEqualPsnr);
    // One step of 16 in luma everywhere: 20 log10(255 / 16) = 24.05 dB.
    options.videoFilter = "lutyuv=y=val+16";
    const PsnrResult brighter = comparePictures(clip, testClip(options));
    EXPECT_NEAR(brighter.mean.y, 24.05, 0.5);
    EXPECT_EQ(brighter.mean.u, kEqualPsnr);
}

TEST(PicturesTest, MeanColourReadsTheRightRegion) {
    ClipOptions options;
    options.seconds = 0.2;
    options.audio = false;
    options.videoFilter =
            "drawbox=x=0:y=0:w=160:h=240:color=white:thickness=fill,"
            "drawbox=x=160:y=0:w=160:h=240:color=black:thickness=fill";
    const std::vector<Image> images = decodePictures(testClip(options));
    ASSERT_FALSE(images.empty());
    EXPECT_NEAR(meanColour(images[0], 8, 8, 144, 224).y, 235, 3);
    EXPECT_NEAR(meanColour(images[0], 168, 8, 144, 224).y, 16, 3);
}

TEST(SoundTest, MeasuresLevelFrequencyAndLag) {
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

TEST(SoundTest, DecodedSoundHasTheLevelItWasMadeWith) {
    ClipOptions options;
    options.extension = "wav";
    options.audioCodec = "pcm_s16le";
    const Sound sound = decodeSound(sineClip({300, 700}, 0.25, options));
    ASSERT_EQ(sound.channels, 2);
    EXPECT_EQ(sound.frames(), 3u * 48000);
    EXPECT_NEAR(toneDb(sound.channel(0), 48000, 300), -12.04, 0.1);
    EXPECT_NEAR(toneDb(sound.channel(1), 48000, 700), -12.04, 0.1);
    EXPECT_LT(toneDb(sound.channel(0), 48000, 700), -80);
}

TEST(ProcessRunnerTest, ReportsOutputExitCodeAndSignals) {
    ProcessResult result =
            ProcessRunner({"sh", "-c", "cat; echo oops >&2; exit 3"}).setInput("hello").run();
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.out, "hello");
    EXPECT_EQ(result.err, "oops\n");

    result = ProcessRunner({"sh", "-c",
                            "trap 'echo caught; exit 5' INT; echo ready; "
                            "while :; do sleep 0.05; done"})
                     .signalOnText(SIGINT, "ready")
                     .run();
    EXPECT_EQ(result.exitCode, 5);
    EXPECT_EQ(result.out, "ready\ncaught\n");

    EXPECT_EQ(ProcessRunner({"/nonexistent/program"}).run().exitCode, 127);
}

TEST(ProcessRunnerTest, EndsWhatDoesNotEnd) {
    const ProcessResult result =
            ProcessRunner({"sleep", "1000"}).setTimeLimit(milliseconds(100)).run();
    EXPECT_TRUE(result.timedOut);
    EXPECT_EQ(result.signal, SIGKILL);
}

TEST(ProcessRunnerTest, LimitsFileSizeAndBreaksPipes) {
    TempDir directory;
    const std::string file = directory.file("zeros");
    const ProcessResult full =
            ProcessRunner({"dd", "if=/dev/zero", "of=" + file, "bs=1000", "count=100"})
                    .setFileSizeLimit(50000)
                    .run();
    EXPECT_EQ(full.signal, SIGXFSZ);
    EXPECT_EQ(fileSize(file), 50000);
    const ProcessResult broken = ProcessRunner({"yes"}).closeOutputAfter(1000).run();
    EXPECT_EQ(broken.signal, SIGPIPE);
}

TEST(DeadlineTest, WaitForGivesUp) {
    EXPECT_TRUE(waitFor([] { return true; }, milliseconds(0)));
    EXPECT_FALSE(waitFor([] { return false; }, milliseconds(20)));
}

TEST(TempDirTest, LeavesNothingBehind) {
    std::string path;
    {
        TempDir directory;
        path = directory.file("file");
        ASSERT_TRUE(writeFile(path, "content"));
        EXPECT_EQ(readFile(path), "content");
    }
    EXPECT_EQ(fileSize(path), -1);
}

}  // namespace
}  // namespace oxa::test
