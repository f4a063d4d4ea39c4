// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/MediaProbe.h"
#include "support/Test.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

constexpr char kFlower[] = "flower_540p_h264_aac.mp4";
constexpr char kWebm[] = "flower_540p_vp8_vorbis.webm";
constexpr char kHevc[] = "bunny_480p_hevc.mp4";
constexpr char kUpright[] = "bunny_rotated90_aac51.mp4";
constexpr char kInterlaced[] = "bunny_480i_tff_mpeg2_mp2.ts";
constexpr char kFrames[] = "bwdif=mode=send_frame:deint=interlaced,";
constexpr char kFields[] = "bwdif=mode=send_field:deint=interlaced,";
constexpr char kFewerFields[] = "bwdif=mode=send_field:deint=interlaced,fps=50,";

struct ConversionCase : Named {
    const char* clip;
    const char* options;
    const char* filters;  // the peer's, before the scaling
    int width;
    int height;
    int64_t frames;
};

const ConversionCase kConversions[] = {
        {"Smaller", kFlower, "--size 320x180", "", 320, 180, 150},
        {"Larger", kHevc, "--size 1280x720", "", 1280, 720, 30},
        {"Stretched", "friday_video_starts_1s.mp4", "--size 200x400", "", 200, 400, 92},
        {"FewerPictures", kFlower, "--fps 15", "fps=15,", 960, 540, 75},
        {"AwkwardlyFewer", kWebm, "--fps 12", "fps=12,", 960, 540, 60},
        {"MorePictures", kHevc, "--fps 60", "fps=60,", 854, 480, 60},
        {"AwkwardlyMore", "nasa_multistream.mp4", "--fps 30", "fps=30,", 320, 180, 390},
        {"UprightSmaller", kUpright, "--size 270x480", "", 270, 480, 45},
        {"UprightFewerSmaller", kUpright, "--size 540x960 --fps 12", "fps=12,", 540, 960, 23},
        {"InterlacedLeft", kInterlaced, "--deinterlace 0", "", 854, 480, 30},
        {"DeinterlacedFrames", kInterlaced, "--deinterlace 1", kFrames, 854, 480, 30},
        {"DeinterlacedFields", kInterlaced, "--deinterlace 2", kFields, 854, 480, 60},
        {"DeinterlacedSmaller", kInterlaced, "--deinterlace 2 --size 426x240 --fps 50",
         kFewerFields, 426, 240, 50},
};

class ConversionTest : public testing::TestWithParam<ConversionCase> {};

TEST_P(ConversionTest, looksLikeThePeers) {
    const ConversionCase& test = GetParam();
    const TempDir folder;
    const std::string source = mediaPath(test.clip);
    const std::string output = folder.file("out.mp4");
    transcode(source, output, kQualityOption + ("--only video " + std::string(test.options)));
    const MediaProbe probe(output);
    ASSERT_NE(probe.video(), nullptr) << probe.error();
    EXPECT_EQ(probe.video()->width, test.width);
    EXPECT_EQ(probe.video()->height, test.height);
    EXPECT_EQ(probe.video()->rotation, 0);
    EXPECT_EQ(probe.video()->sarNum, std::min(probe.video()->sarNum, probe.video()->sarDen));
    EXPECT_EQ(probe.video()->frameCount, test.frames);
    expectAsGoodAsPeer(source, output, test.filters);
}

INSTANTIATE_TEST_SUITE_P(Options, ConversionTest, testing::ValuesIn(kConversions),
                         rowName<ConversionCase>);

}  // namespace
}  // namespace oxa::test
