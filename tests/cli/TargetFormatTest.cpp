// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "TargetFormat.h"

#include <gtest/gtest.h>

namespace oxaplayer {
namespace {

SourceTrack picture(int32_t width, int32_t height, int32_t rotationDegrees = 0,
                    double pixelAspect = 1) {
    SourceTrack track;
    track.isVideo = true;
    track.width = width;
    track.height = height;
    track.rotationDegrees = rotationDegrees;
    track.pixelAspect = pixelAspect;
    return track;
}

SourceTrack sound(int32_t channels, int32_t sampleRate) {
    SourceTrack track;
    track.channels = channels;
    track.sampleRate = sampleRate;
    return track;
}

struct SizeCase {
    SourceTrack source;
    int32_t width;
    int32_t height;
};

class UprightSizeTest : public testing::TestWithParam<SizeCase> {};

// A picture that comes out lying, squeezed or with an odd side.
TEST_P(UprightSizeTest, isUprightSquareAndEven) {
    const Size size = uprightSize(GetParam().source);
    EXPECT_EQ(size.width, GetParam().width);
    EXPECT_EQ(size.height, GetParam().height);
}

INSTANTIATE_TEST_SUITE_P(Sources, UprightSizeTest,
                         testing::Values(SizeCase{picture(960, 540), 960, 540},
                                         SizeCase{picture(1920, 1080, 90), 1080, 1920},
                                         SizeCase{picture(1920, 1080, 270), 1080, 1920},
                                         SizeCase{picture(1920, 1080, 180), 1920, 1080},
                                         SizeCase{picture(161, 121), 160, 120},
                                         SizeCase{picture(720, 480, 0, 32.0 / 27), 854, 480},
                                         SizeCase{picture(720, 576, 90, 16.0 / 15), 576, 768},
                                         SizeCase{picture(1, 1), 2, 2},
                                         SizeCase{picture(16384, 8190), 8192, 4094}),
                         [](const testing::TestParamInfo<SizeCase>& info) {
                             const SourceTrack& source = info.param.source;
                             return std::to_string(source.width) + "x" +
                                    std::to_string(source.height) + "_" +
                                    std::to_string(source.rotationDegrees) + "_" +
                                    std::to_string(info.index);
                         });

TEST(TargetFormat, followsTheSourceWhereNothingWasAsked) {
    const SourceTrack video = picture(854, 480);
    const SourceTrack audio = sound(2, 44100);
    const auto format = makeTargetFormat(TranscodeOptions(), &video, &audio);
    EXPECT_EQ(format.width, 854);
    EXPECT_EQ(format.height, 480);
    EXPECT_EQ(format.frameRate, 0);  // the source's own
    EXPECT_EQ(format.bitRate, -1);   // the library's rule
    EXPECT_EQ(format.iFrameInterval, 2);
    EXPECT_EQ(format.deinterlace, -1);  // no key at all
    EXPECT_EQ(format.profile, 0);
    EXPECT_EQ(format.level, 0);
    EXPECT_EQ(format.channelCount, 2);
    EXPECT_EQ(format.sampleRate, 44100);
}

TEST(TargetFormat, soundIsWhatAacCanHold) {
    const auto target = [](int32_t channels, int32_t sampleRate) {
        const SourceTrack audio = sound(channels, sampleRate);
        const auto format = makeTargetFormat(TranscodeOptions(), nullptr, &audio);
        return std::pair(format.channelCount, format.sampleRate);
    };
    EXPECT_EQ(target(6, 48000), std::pair(6, 48000));
    EXPECT_EQ(target(8, 96000), std::pair(6, 96000));
    EXPECT_EQ(target(1, 192000), std::pair(1, 48000));
    EXPECT_EQ(target(2, 37800), std::pair(2, 48000));
    EXPECT_EQ(target(0, 0), std::pair(1, 48000));
}

TEST(TargetFormat, optionsWin) {
    TranscodeOptions options;
    options.size = Size{320, 240};
    options.frameRate = 10;
    options.videoBitRate = 0;
    options.keyFrameIntervalSec = 0;
    options.deinterlace = 1;
    options.audioChannels = 1;
    options.audioRate = 8000;
    const SourceTrack video = picture(1920, 1080, 90);
    const SourceTrack audio = sound(6, 48000);
    const auto format = makeTargetFormat(options, &video, &audio);
    EXPECT_EQ(format.width, 320);
    EXPECT_EQ(format.height, 240);
    EXPECT_EQ(format.frameRate, 10);
    EXPECT_EQ(format.bitRate, 0);
    EXPECT_EQ(format.iFrameInterval, 0);
    EXPECT_EQ(format.deinterlace, 1);
    EXPECT_EQ(format.channelCount, 1);
    EXPECT_EQ(format.sampleRate, 8000);
}

}  // namespace
}  // namespace oxaplayer
