// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <ostream>

#include "platform/codec/FrameSums.h"
#include "support/TestClips.h"

namespace oxa::test {
namespace {

// What a decoder is asked for, and the same for the command.
struct ConversionCase {
    const char* name;
    const char* clip;
    int width;
    int height;
    int frameRate;
    int deinterlace;
    const char* filters;
};

void PrintTo(const ConversionCase& conversion, std::ostream* out) {
    *out << conversion.name;
}

constexpr ConversionCase kConversions[] = {
        {"Nothing", "flower_540p_h264_aac.mp4", 0, 0, 0, -1, ""},
        {"OwnSize", "flower_540p_vp8_vorbis.webm", 960, 540, 0, 0, ""},
        {"Smaller", "flower_540p_h264_aac.mp4", 480, 270, 0, -1, "scale=480:270:flags=bicubic"},
        {"LargerFromOdd", "bear_161x121_vp9.webm", 320, 240, 0, -1, "scale=320:240:flags=bicubic"},
        {"OddToEven", "bear_161x121_vp9.webm", 160, 120, 0, -1, "scale=160:120:flags=bicubic"},
        {"SquareSamples", "bunny_480i_tff_mpeg2_mp2.ts", 854, 480, 0, -1,
         "scale=854:480:flags=bicubic"},
        {"Rotated", "bunny_rotated90_aac51.mp4", 0, 0, 0, -1, ""},
        {"RotatedAndSmaller", "bunny_rotated90_aac51.mp4", 540, 960, 0, -1,
         "scale=540:960:flags=bicubic"},
        {"OnePictureForAFrame", "bunny_480i_tff_mpeg2_mp2.ts", 0, 0, 0, 1,
         "bwdif=mode=send_frame:deint=interlaced"},
        {"OnePictureForAField", "bunny_480i_tff_mpeg2_mp2.ts", 0, 0, 0, 2,
         "bwdif=mode=send_field:deint=interlaced"},
        {"DeinterlacedAndScaled", "bunny_480i_tff_mpeg2_mp2.ts", 640, 360, 0, 2,
         "bwdif=mode=send_field:deint=interlaced,scale=640:360:flags=bicubic"},
        {"ProgressiveIsLeftAlone", "bunny_480p_hevc.mp4", 0, 0, 0, 2, ""},
        {"HalfTheRate", "friday_480p_audio_first.mp4", 0, 0, 15, -1, "fps=15"},
        {"AHigherRate", "car_432p_12fps.mp4", 384, 216, 30, -1,
         "scale=384:216:flags=bicubic,fps=30"},
        {"AnOddRateWithALateStart", "friday_video_starts_1s.mp4", 0, 0, 24, -1, "fps=24"},
        {"ALowerRateFromATransportStream", "bunny_360p_aac51.ts", 0, 0, 10, -1, "fps=10"},
};

class Conversions : public testing::TestWithParam<ConversionCase> {};

// Sample by sample what the command gives, at its times.
TEST_P(Conversions, AreThoseOfTheCommand) {
    const ConversionCase& wanted = GetParam();
    VideoJobOptions options;
    options.path = mediaPath(wanted.clip);
    options.width = wanted.width;
    options.height = wanted.height;
    options.frameRate = wanted.frameRate;
    options.deinterlace = wanted.deinterlace;
    const FrameSums expected = commandSums(options.path, wanted.filters);
    const FrameSums actual = decoderSums(options);
    ASSERT_FALSE(expected.frames.empty());
    EXPECT_EQ(expected.width, actual.width);
    EXPECT_EQ(expected.height, actual.height);
    ASSERT_EQ(expected.frames.size(), actual.frames.size());
    for (size_t i = 0; i < expected.frames.size(); ++i) {
        ASSERT_NEAR(expected.frames[i].timeUs, actual.frames[i].timeUs, expected.tickUs / 2 + 1)
                << "picture " << i;
        ASSERT_EQ(expected.frames[i].md5, actual.frames[i].md5) << "picture " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(All, Conversions, testing::ValuesIn(kConversions),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace oxa::test
