// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include "encode/EncodeSetup.h"
#include "run/FaultWarnings.h"
#include "run/ProgressMeter.h"
#include "sheet/SheetPicture.h"
#include "transcode/TargetFormat.h"

namespace oxa::jobs {
namespace {

constexpr int64_t kSecond = 1'000'000;

ProgressSample at(int64_t seconds, int64_t mediaSeconds, int64_t frames) {
    return {seconds * kSecond, mediaSeconds * kSecond, frames, frames * 1000};
}

// Rates over the whole job would hardly move after an hour; rates of one tick would jump.
TEST(ProgressMeter, ratesAreThoseOfTheLastSeconds) {
    ProgressMeter meter(0, 100 * kSecond);
    Progress numbers;
    for (int second = 1; second <= 10; ++second) {
        numbers = meter.add(at(second, 2 * second, 50 * second));
    }
    EXPECT_DOUBLE_EQ(numbers.speed, 2);
    EXPECT_DOUBLE_EQ(numbers.picturesPerSecond, 50);
    EXPECT_DOUBLE_EQ(*numbers.percent, 20);
    EXPECT_DOUBLE_EQ(*numbers.secondsLeft, 40);
    for (int second = 11; second <= 20; ++second) {
        numbers = meter.add(at(second, 20 + second - 10, 500 + 25 * (second - 10)));
    }
    EXPECT_DOUBLE_EQ(numbers.speed, 1);
    EXPECT_DOUBLE_EQ(numbers.picturesPerSecond, 25);
    EXPECT_DOUBLE_EQ(*numbers.secondsLeft, 70);
    EXPECT_DOUBLE_EQ(meter.overall(at(20, 30, 750)).speed, 1.5);
}

TEST(ProgressMeter, saysNothingThatItCannotKnow) {
    ProgressMeter unknown(0, 0);
    EXPECT_FALSE(unknown.add(at(1, 1, 1)).percent);
    EXPECT_FALSE(unknown.add(at(1, 1, 1)).secondsLeft);
    ProgressMeter stalled(0, 100 * kSecond);
    EXPECT_FALSE(stalled.add(at(1, 0, 0)).secondsLeft);
    // A file that is longer than its header says.
    EXPECT_DOUBLE_EQ(*stalled.add(at(2, 150, 1)).percent, 100);
}

// A thousand damaged packets are one warning and one sum, not a thousand lines.
TEST(FaultWarnings, eachKindIsReportedOnceAndThenCounted) {
    std::vector<std::string> lines;
    FaultWarnings warnings([&](const std::string& line) { lines.push_back(line); });
    host::Fault fault;
    fault.object = "video";
    fault.cause = "damaged data";
    for (fault.count = 1; fault.count <= 1000; ++fault.count)
        warnings.add(fault);
    fault.object = "audio";
    fault.count = 1;
    warnings.add(fault);
    EXPECT_EQ(lines, (std::vector<std::string>{"video: damaged data", "audio: damaged data"}));
    lines.clear();
    warnings.summarize();
    EXPECT_EQ(lines, std::vector<std::string>{"video: damaged data (1000 times)"});
    EXPECT_EQ(warnings.damaged(), 1001u);
}

// A default that slips in where nothing was asked would override the source's own value.
TEST(TargetFormat, whatIsNotGivenIsLeftToTheSource) {
    const TranscodeOptions options;
    Track video;
    video.isVideo = true;
    video.width = 854;
    video.height = 480;
    Track audio;
    audio.channels = 2;
    audio.sampleRate = 44100;
    const auto format = makeTargetFormat(options, &video, &audio);
    EXPECT_EQ(format.width, 854);
    EXPECT_EQ(format.height, 480);
    EXPECT_EQ(format.frameRate, 0);  // the source's own
    EXPECT_EQ(format.bitRate, 0);    // constant quality
    EXPECT_EQ(format.iFrameInterval, 2);
    EXPECT_EQ(format.deinterlace, -1);  // no key at all
    EXPECT_EQ(format.profile, 0);
    EXPECT_EQ(format.level, 0);
    EXPECT_EQ(format.channelCount, 2);
    EXPECT_EQ(format.sampleRate, 44100);
}

// A picture that comes out squeezed or with an odd side, or larger than there are.
TEST(UprightSize, isUprightSquareAndEven) {
    const auto upright = [](int32_t width, int32_t height, int32_t rotation, double pixelAspect) {
        Track track;
        track.isVideo = true;
        track.width = width;
        track.height = height;
        track.rotationDegrees = rotation;
        track.pixelAspect = pixelAspect;
        const Size size = uprightSize(track);
        return std::pair(size.width, size.height);
    };
    EXPECT_EQ(upright(1920, 1080, 270, 1), std::pair(1080, 1920));
    EXPECT_EQ(upright(161, 121, 0, 1), std::pair(160, 120));
    EXPECT_EQ(upright(720, 480, 0, 32.0 / 27), std::pair(854, 480));
    EXPECT_EQ(upright(720, 576, 90, 16.0 / 15), std::pair(576, 768));
    EXPECT_EQ(upright(1, 1, 0, 1), std::pair(2, 2));
    EXPECT_EQ(upright(16384, 8190, 0, 1), std::pair(8192, 4094));
}

TEST(TargetFormat, soundIsWhatAacCanHold) {
    const auto target = [](int32_t channels, int32_t sampleRate) {
        Track audio;
        audio.channels = channels;
        audio.sampleRate = sampleRate;
        const auto format = makeTargetFormat(TranscodeOptions(), nullptr, &audio);
        return std::pair(format.channelCount, format.sampleRate);
    };
    EXPECT_EQ(target(6, 48000), std::pair(6, 48000));
    EXPECT_EQ(target(8, 96000), std::pair(6, 96000));
    EXPECT_EQ(target(1, 192000), std::pair(1, 48000));
    EXPECT_EQ(target(2, 37800), std::pair(2, 48000));
    EXPECT_EQ(target(0, 0), std::pair(1, 48000));
}

TEST(ContainerChoice, followsTheExtensionUnlessAsked) {
    const auto choose = [](const std::string& output, std::optional<Container> asked = {}) {
        EncodeOptions options;
        options.output = output;
        options.container = asked;
        return chooseContainer(options);
    };
    for (const char* name : {"a.mp4", "A.MP4", "x/y.z/a.m4v", "a.b.mp4"}) {
        EXPECT_EQ(choose(name), Container::kMp4) << name;
    }
    for (const char* name : {"a.ts", "a.M2TS"}) {
        EXPECT_EQ(choose(name), Container::kMpeg2Ts) << name;
    }
    for (const char* name : {"a", "a.mkv", "dir.mp4/a", "mp4", "a.mp4 ", ""}) {
        EXPECT_EQ(choose(name), std::nullopt) << name;
    }
    EXPECT_EQ(choose("a.ts", Container::kMp4), Container::kMp4);
    EXPECT_EQ(choose("/dev/null", Container::kMpeg2Ts), Container::kMpeg2Ts);
}

TEST(SheetTime, hasTenthsBelowAnHour) {
    EXPECT_EQ(sheetTime(3'999'999), "0:03.9");
    EXPECT_EQ(sheetTime(754'200'000), "12:34.2");
    EXPECT_EQ(sheetTime(3'723'900'000), "1:02:03");
}

}  // namespace
}  // namespace oxa::jobs
