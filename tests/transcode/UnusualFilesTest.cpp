// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "support/MediaProbe.h"
#include "support/ProcessRunner.h"
#include "support/SyncMeasure.h"
#include "support/TempDir.h"
#include "support/TestClips.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

using testing::HasSubstr;
using testing::Not;

// ---- Files with unusual tracks, whole -----------------------------------------------------------

class UnusualTracksTest : public testing::TestWithParam<const char*> {
  protected:
    // No option, no warning, and all of both tracks.
    void expectWhole(const std::string& source) {
        const std::string output = mFolder.file(GetParam());
        const ProcessResult result = transcode(source, output);
        EXPECT_THAT(result.err, Not(HasSubstr("warning")));
        const MediaProbe before(source);
        const MediaProbe after(output);
        ASSERT_TRUE(after.ok()) << after.error();
        ASSERT_EQ(after.video() != nullptr, before.video() != nullptr);
        ASSERT_EQ(after.audio() != nullptr, before.audio() != nullptr);
        if (before.video() != nullptr) expectSamePictures(*before.video(), *after.video());
        if (before.audio() != nullptr) {
            EXPECT_NEAR(after.audio()->endUs, before.audio()->endUs,
                        1024e6 / after.audio()->sampleRate);
        }
    }

    TempDir mFolder;
};

TEST_P(UnusualTracksTest, soundWithACoverPicture) {
    expectWhole(coverPictureClip());
}

TEST_P(UnusualTracksTest, onePicture) {
    expectWhole(oneFrameVideo());
    ClipOptions delayed;
    delayed.videoArguments = {"-bf", "3"};
    expectWhole(oneFrameVideo(delayed));
}

TEST_P(UnusualTracksTest, onePictureWithSound) {
    ClipOptions options;
    options.seconds = 0.04;
    options.audioSeconds = 4;
    expectWhole(testClip(options));
}

TEST_P(UnusualTracksTest, soundMuchLongerThanPicture) {
    ClipOptions options;
    options.seconds = 10;
    options.width = 160;
    options.height = 120;
    options.audioCodec = "mp2";
    options.extension = "mkv";
    options.audioSeconds = 300;
    expectWhole(testClip(options));
}

TEST_P(UnusualTracksTest, pictureMuchLongerThanSound) {
    ClipOptions options;
    options.seconds = 300;
    options.frameRateNum = 10;
    options.width = 96;
    options.height = 64;
    options.audioSeconds = 10;
    expectWhole(testClip(options));
}

// Who has read as far as the picture finds no sound behind it. (mkv counts in milliseconds.)
TEST_P(UnusualTracksTest, soundThatEndsBeforeThePicture) {
    ClipOptions options;
    options.seconds = 1;
    options.extension = "mkv";
    options.outputArguments = {"-bsf:v", "setts=pts=PTS+3000:dts=DTS+3000"};
    expectWhole(testClip(options));
}

// Sound that is missing for a while must not let the rest of it come too early.
TEST_P(UnusualTracksTest, holeInTheSound) {
    ClipOptions options;
    options.seconds = 6;
    options.extension = "mkv";
    options.outputArguments = {"-bsf:a", "noise=drop='between(pts,2200,3200)'"};
    const std::string source = flashBeepClip(options);
    expectWhole(source);
    const SyncMeasure before = measureSync(source);
    const SyncMeasure after = measureSync(mFolder.file(GetParam()));
    ASSERT_EQ(before.offsetsMs.size(), static_cast<size_t>(flashCount(options) - 1));
    ASSERT_EQ(after.offsetsMs.size(), before.offsetsMs.size());
    for (size_t i = 0; i < before.offsetsMs.size(); ++i) {
        EXPECT_NEAR(after.offsetsMs[i], before.offsetsMs[i], 5) << "flash " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Containers, UnusualTracksTest, testing::Values("out.mp4", "out.ts"),
                         [](const auto& info) {
                             return std::string(info.param).substr(sizeof("out.") - 1);
                         });

// ---- Damaged files ------------------------------------------------------------------------------

struct DamageCase {
    const char* name;
    std::string (*makeFile)();
};

class DamagedFileTest : public testing::TestWithParam<DamageCase> {};

std::string streamCopy(const char* clip, const std::string& extension) {
    const std::string copy = TempDir::ofProcess().file("copy." + extension);
    runOrDie({"ffmpeg", "-v", "error", "-y", "-i", mediaPath(clip), "-map", "0:v:0", "-map",
              "0:a:0", "-c", "copy", copy});
    return copy;
}

// The first part of a transport stream.
std::string shortBunny() {
    return truncateClip(mediaPath("bunny_360p_aac51.ts"), 0.25);
}

TEST_P(DamagedFileTest, givesWhatCanBeDecoded) {
    const std::string source = GetParam().makeFile();
    TempDir folder;
    const MediaProbe before(source);
    ASSERT_NE(before.video(), nullptr) << before.error();
    ASSERT_GT(before.video()->frameCount, 20);
    for (const std::string& output : {folder.file("out.mp4"), folder.file("out.ts")}) {
        const ProcessResult result =
                transcode(source, output, {"--size", "320x180", "--preset", "ultrafast"});
        EXPECT_THAT(result.err, HasSubstr("warning: "));
        const MediaProbe after(output);
        ASSERT_NE(after.video(), nullptr) << after.error();
        // How much of a damaged picture is worth showing is a matter of taste, and of threads.
        const double tolerance = 3 + 0.03 * static_cast<double>(before.video()->frameCount);
        EXPECT_NEAR(after.video()->frameCount, before.video()->frameCount, tolerance);
        EXPECT_NEAR(after.video()->endUs, before.video()->endUs, 500'000);
        if (before.audio() == nullptr || before.audio()->frameCount == 0) continue;
        ASSERT_NE(after.audio(), nullptr);
        EXPECT_NEAR(after.audio()->endUs, before.audio()->endUs, 500'000);
    }
}

INSTANTIATE_TEST_SUITE_P(
        Kinds, DamagedFileTest,
        testing::Values(
                DamageCase{"LostTsPackets", [] { return dropTsPackets(shortBunny(), 50); }},
                DamageCase{"ManyLostTsPackets", [] { return dropTsPackets(shortBunny(), 9); }},
                DamageCase{"HoleInMp4",
                           [] { return zeroRegion(mediaPath("flower_540p_h264_aac.mp4")); }},
                DamageCase{"HoleInTs", [] { return zeroRegion(shortBunny()); }},
                DamageCase{"HoleInMpeg2Ts",
                           [] {
                               return zeroRegion(mediaPath("bunny_480i_tff_mpeg2_mp2.ts"), 0.5,
                                                 0.55);
                           }},
                DamageCase{"HoleInWebM",
                           [] { return zeroRegion(mediaPath("flower_540p_vp8_vorbis.webm")); }},
                DamageCase{
                        "HoleInMkv",
                        [] { return zeroRegion(streamCopy("flower_540p_h264_aac.mp4", "mkv")); }},
                DamageCase{"HoleInAvi",
                           [] { return zeroRegion(mediaPath("bird_mpeg4asp_mp3.avi")); }},
                DamageCase{"CutMp4",
                           [] { return truncateClip(mediaPath("flower_540p_h264_aac.mp4"), 0.6); }},
                DamageCase{"CutAvi",
                           [] { return truncateClip(mediaPath("bird_mpeg4asp_mp3.avi"), 0.6); }},
                DamageCase{
                        "CutWebM",
                        [] { return truncateClip(mediaPath("flower_540p_vp8_vorbis.webm"), 0.6); }},
                DamageCase{"CutMkv",
                           [] {
                               return truncateClip(streamCopy("flower_540p_h264_aac.mp4", "mkv"),
                                                   0.6);
                           }},
                DamageCase{"CutTs", [] { return truncateClip(shortBunny(), 0.6); }}),
        [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace oxa::test
