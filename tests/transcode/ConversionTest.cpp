// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/MediaProbe.h"
#include "support/ProcessRunner.h"
#include "support/TempDir.h"
#include "support/TestClips.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

struct ConversionCase {
    const char* name;
    const char* clip;
    std::vector<std::string> options;
    const char* filters;  // the peer's, before the scaling
    int width;
    int height;
    int64_t frames;
};

class ConversionFixture : public testing::Test {
  protected:
    void convert(const std::string& source, const std::vector<std::string>& options,
                 const std::string& filters, int width, int height) {
        std::vector<std::string> all = {"--only", "video", "--video-bitrate",
                                        std::to_string(kQualityBitRate)};
        all.insert(all.end(), options.begin(), options.end());
        transcode(source, mOutput, all);
        const MediaProbe probe(mOutput);
        ASSERT_NE(probe.video(), nullptr) << probe.error();
        EXPECT_EQ(probe.video()->width, width);
        EXPECT_EQ(probe.video()->height, height);
        EXPECT_EQ(probe.video()->rotation, 0);
        EXPECT_EQ(probe.video()->sarNum, std::min(probe.video()->sarNum, probe.video()->sarDen));
        mFrames = probe.video()->frameCount;
        expectAsGoodAsPeer(source, filters + scaledTo(width, height), mOutput);
    }

    TempDir mFolder;
    const std::string mOutput = mFolder.file("out.mp4");
    int64_t mFrames = 0;
};

class ConversionTest : public ConversionFixture,
                       public testing::WithParamInterface<ConversionCase> {};

TEST_P(ConversionTest, looksLikeThePeers) {
    const ConversionCase& test = GetParam();
    convert(mediaPath(test.clip), test.options, test.filters, test.width, test.height);
    EXPECT_EQ(mFrames, test.frames);
}

INSTANTIATE_TEST_SUITE_P(
        Options, ConversionTest,
        testing::Values(
                ConversionCase{"Smaller",
                               "flower_540p_h264_aac.mp4",
                               {"--size", "320x180"},
                               "",
                               320,
                               180,
                               150},
                ConversionCase{
                        "Larger", "bunny_480p_hevc.mp4", {"--size", "1280x720"}, "", 1280, 720, 30},
                ConversionCase{"Stretched",
                               "friday_video_starts_1s.mp4",
                               {"--size", "200x400"},
                               "",
                               200,
                               400,
                               92},
                ConversionCase{"FewerPictures",
                               "flower_540p_h264_aac.mp4",
                               {"--fps", "15"},
                               "fps=15,",
                               960,
                               540,
                               75},
                ConversionCase{"AwkwardlyFewer",
                               "flower_540p_vp8_vorbis.webm",
                               {"--fps", "12"},
                               "fps=12,",
                               960,
                               540,
                               60},
                ConversionCase{"MorePictures",
                               "bunny_480p_hevc.mp4",
                               {"--fps", "60"},
                               "fps=60,",
                               854,
                               480,
                               60},
                ConversionCase{"AwkwardlyMore",
                               "nasa_multistream.mp4",
                               {"--fps", "30"},
                               "fps=30,",
                               320,
                               180,
                               390},
                ConversionCase{"UprightSmaller",
                               "bunny_rotated90_aac51.mp4",
                               {"--size", "270x480"},
                               "",
                               270,
                               480,
                               45},
                ConversionCase{"UprightFewerSmaller",
                               "bunny_rotated90_aac51.mp4",
                               {"--size", "540x960", "--fps", "12"},
                               "fps=12,",
                               540,
                               960,
                               23},
                ConversionCase{"InterlacedLeft",
                               "bunny_480i_tff_mpeg2_mp2.ts",
                               {"--deinterlace", "0"},
                               "",
                               854,
                               480,
                               30},
                ConversionCase{"DeinterlacedFrames",
                               "bunny_480i_tff_mpeg2_mp2.ts",
                               {"--deinterlace", "1"},
                               "bwdif=mode=send_frame:deint=interlaced,",
                               854,
                               480,
                               30},
                ConversionCase{"DeinterlacedFields",
                               "bunny_480i_tff_mpeg2_mp2.ts",
                               {"--deinterlace", "2"},
                               "bwdif=mode=send_field:deint=interlaced,",
                               854,
                               480,
                               60},
                ConversionCase{"DeinterlacedSmaller",
                               "bunny_480i_tff_mpeg2_mp2.ts",
                               {"--deinterlace", "2", "--size", "426x240", "--fps", "50"},
                               "bwdif=mode=send_field:deint=interlaced,fps=50,",
                               426,
                               240,
                               50}),
        [](const auto& info) { return info.param.name; });

// ---- Pictures that are not stored as they are looked at -----------------------------------------

struct StoredCase {
    const char* name;
    int width;
    int height;
    const char* aspect;  // of a point
    int rotation;        // clockwise, by the player
    int outputWidth;
    int outputHeight;
};

class StoredPictureTest : public ConversionFixture,
                          public testing::WithParamInterface<StoredCase> {};

TEST_P(StoredPictureTest, comesOutUprightAndSquare) {
    const StoredCase& test = GetParam();
    ClipOptions options;
    options.seconds = 1;
    options.width = test.width;
    options.height = test.height;
    options.audio = false;
    options.videoFilter = std::string("setsar=") + test.aspect;
    const std::string source = mFolder.file("source.mp4");
    runOrDie({"ffmpeg", "-v", "error", "-i", testClip(options), "-c", "copy", "-metadata:s:v:0",
              // The command counts the other way round.
              "rotate=" + std::to_string((360 - test.rotation) % 360), source});
    ASSERT_EQ(MediaProbe(source).video()->rotation, test.rotation);
    convert(source, {}, "", test.outputWidth, test.outputHeight);
    EXPECT_EQ(mFrames, 25);
}

INSTANTIATE_TEST_SUITE_P(Clips, StoredPictureTest,
                         testing::Values(StoredCase{"Wide", 352, 288, "12/11", 0, 384, 288},
                                         StoredCase{"Narrow", 320, 240, "3/4", 0, 240, 240},
                                         StoredCase{"Rotated90", 320, 240, "1", 90, 240, 320},
                                         StoredCase{"Rotated180", 320, 240, "1", 180, 320, 240},
                                         StoredCase{"Rotated270", 320, 240, "1", 270, 240, 320},
                                         StoredCase{"WideRotated", 352, 288, "16/11", 90, 288,
                                                    512}),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace oxa::test
