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

// A picture that comes out lying, squeezed or with an odd side.
TEST(UprightSize, isUprightSquareAndEven) {
    const struct {
        SourceTrack source;
        int32_t width;
        int32_t height;
    } kCases[] = {{picture(960, 540), 960, 540},
                  {picture(1920, 1080, 90), 1080, 1920},
                  {picture(1920, 1080, 270), 1080, 1920},
                  {picture(1920, 1080, 180), 1920, 1080},
                  {picture(161, 121), 160, 120},
                  {picture(720, 480, 0, 32.0 / 27), 854, 480},
                  {picture(720, 576, 90, 16.0 / 15), 576, 768},
                  {picture(1, 1), 2, 2},
                  {picture(16384, 8190), 8192, 4094}};
    for (const auto& test : kCases) {
        const Size size = uprightSize(test.source);
        EXPECT_EQ(size.width, test.width) << test.source.width;
        EXPECT_EQ(size.height, test.height) << test.source.width;
    }
}

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

}  // namespace
}  // namespace oxaplayer
