// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "platform/container/TrackSamples.h"
#include "support/ProcessRunner.h"
#include "support/TempDir.h"
#include "support/TestClips.h"
#include "support/TimeEdits.h"

namespace android {
namespace {

using namespace oxa::test;

constexpr int64_t kHourMs = 3600000;

std::string clip(const std::string& extension) {
    ClipOptions options;
    options.extension = extension;
    options.videoArguments = {"-bf", "2", "-g", "25"};
    return testClip(options);
}

// Another container for the same samples.
std::string remuxed(const std::string& path, const std::string& arguments,
                    const std::string& extension) {
    static int count = 0;
    const std::string output =
            TempDir::ofProcess().file("remuxed" + std::to_string(count++) + "." + extension);
    runOrDie(ffmpeg(joined(joined({"-i", path, "-c", "copy"}, words(arguments)), {output})));
    return output;
}

// ---- Files with the samples of another one, each at its time ------------------------------------

struct TimesCase {
    const char* name;
    std::function<std::string()> plain;
    std::function<std::string()> difficult;
};

void PrintTo(const TimesCase& c, std::ostream* out) {
    *out << c.name;
}

std::string plainFlv() {
    return clip("flv");
}

TimesCase flvCase(const char* name, std::function<int64_t(const FlvTag&)> newTimeMs) {
    return {name, plainFlv, [newTimeMs] { return editFlvTimes(plainFlv(), newTimeMs); }};
}

std::string plainTs() {
    return remuxed(clip("mp4"), "-mpegts_service_id 7 -mpegts_start_pid 0x300", "ts");
}

// The other programme's clock is ahead by an hour; it comes first and has no picture.
std::string twoPrograms() {
    const std::string other = remuxed(clip("mp4"),
                                      "-vn -output_ts_offset 3600 -mpegts_service_id 8 "
                                      "-mpegts_pmt_start_pid 0x1800 -mpegts_start_pid 0x200",
                                      "ts");
    return weavePrograms(other, plainTs());
}

std::string earlySubtitles() {
    const std::string texts = TempDir::ofProcess().file("texts.srt");
    writeFile(texts, "1\n00:00:00,100 --> 00:00:02,000\nx\n");
    const std::string path = TempDir::ofProcess().file("early.mkv");
    runOrDie(ffmpeg({"-itsoffset", "1", "-i", clip("mkv"), "-i", texts, "-map", "0", "-map", "1",
                     "-c:v", "copy", "-c:a", "copy", path}));
    return path;
}

const TimesCase kTimesCases[] = {
        flvCase("OneWildPicture",
                [](const FlvTag& tag) {
                    return tag.isVideo && tag.index == 40 ? 4 * kHourMs : tag.timeMs;
                }),
        flvCase("OneWildSound",
                [](const FlvTag& tag) { return !tag.isVideo && tag.index == 60 ? 0 : tag.timeMs; }),
        flvCase("AllJump",
                [](const FlvTag& tag) { return tag.timeMs + (tag.timeMs > 1500 ? 500000 : 0); }),
        flvCase("PictureJumps",
                [](const FlvTag& tag) {
                    return tag.timeMs + (tag.isVideo && tag.timeMs > 1500 ? 500000 : 0);
                }),
        {"TwoPrograms", plainTs, twoPrograms},
        {"EarlySubtitles", [] { return clip("mkv"); }, earlySubtitles},
};

class DifficultTimesTest : public testing::TestWithParam<TimesCase> {};

TEST_P(DifficultTimesTest, givesEverySampleItsTime) {
    const std::string plain = GetParam().plain();
    const std::string difficult = GetParam().difficult();
    ASSERT_EQ(openClip(difficult)->countTracks(), 2u);
    for (size_t track : {0, 1}) {
        const std::vector<Sample> expected = readTrack(plain, track);
        const std::vector<Sample> samples = readTrack(difficult, track);
        ASSERT_GT(expected.size(), 50u);
        ASSERT_EQ(samples.size(), expected.size());
        for (size_t i = 0; i < samples.size(); ++i) {
            // The containers count milliseconds; a jump's place is known to a sample.
            ASSERT_NEAR(samples[i].timeUs, expected[i].timeUs, 3000)
                    << "track " << track << " " << i;
            ASSERT_EQ(samples[i].size, expected[i].size);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Files, DifficultTimesTest, testing::ValuesIn(kTimesCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(JoinedFileTest, goesOnWhereTheTimesBeginAgain) {
    const std::string joinedFile = appendFlv(plainFlv(), plainFlv());
    for (size_t track : {0, 1}) {
        const std::vector<Sample> part = readTrack(plainFlv(), track);
        const std::vector<Sample> all = readTrack(joinedFile, track);
        ASSERT_EQ(all.size(), 2 * part.size());
        for (size_t i = 0; i < part.size(); ++i) {
            ASSERT_EQ(all[i].timeUs, part[i].timeUs);
            ASSERT_NEAR(all[i + part.size()].timeUs - part[i].timeUs, 3000000, 50000);
        }
    }
}

// ---- Streams that say too little ----------------------------------------------------------------

class RawPicturesTest : public testing::TestWithParam<const char*> {};

// 12000 a second is meant for a clock, not for pictures.
TEST_P(RawPicturesTest, takesTheUsualRateWhereNoneIsMeant) {
    ClipOptions options;
    options.audio = false;
    options.extension = GetParam();
    options.seconds = 1;
    options.videoCodec = options.extension == "hevc" ? "libx265" : "libx264";
    const std::string filter =
            (options.extension == "hevc" ? std::string("hevc") : std::string("h264")) +
            "_metadata=tick_rate=12000";
    options.outputArguments = {"-bsf:v", filter};
    const std::string path = testClip(options);
    const std::vector<Sample> samples = readTrack(path, 0);
    ASSERT_EQ(samples.size(), 25u);
    for (size_t i = 0; i < samples.size(); ++i)
        EXPECT_EQ(samples[i].timeUs, static_cast<int64_t>(40000 * i));
    int32_t rate = 0;
    EXPECT_TRUE(formatOf(openClip(path))->findInt32("frame-rate", &rate));
    EXPECT_EQ(rate, 25);
}

INSTANTIATE_TEST_SUITE_P(Codecs, RawPicturesTest, testing::Values("h264", "hevc"));

TEST(SoundAloneTest, isFoundWhateverItsTypeIsCalled) {
    const struct {
        const char* codec;
        std::vector<std::string> arguments;
        const char* mime;
    } kSounds[] = {{"aac", {"-mpegts_flags", "latm"}, "audio/x-aac_latm"},
                   {"dca", {"-strict", "-2"}, "audio/vnd.dts"},
                   {"aac", {}, "audio/mp4a-latm"}};
    for (double seconds : {0.1, 2.0}) {
        for (const auto& sound : kSounds) {
            SCOPED_TRACE(std::string(sound.mime) + " " + std::to_string(seconds));
            ClipOptions options;
            options.extension = "ts";
            options.video = false;
            options.seconds = seconds;
            options.audioCodec = sound.codec;
            options.outputArguments = sound.arguments;
            const sp<NuMediaExtractor> extractor = openClip(testClip(options));
            ASSERT_EQ(extractor->countTracks(), 1u);
            AString mime;
            EXPECT_TRUE(formatOf(extractor)->findString("mime", &mime));
            EXPECT_STREQ(mime.c_str(), sound.mime);
        }
    }
}

}  // namespace
}  // namespace android
