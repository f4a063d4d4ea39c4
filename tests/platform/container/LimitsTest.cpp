// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "container/MediaLimits.h"

#include <datasource/FileSource.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <media/stagefright/NuMediaExtractor.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>

#include <string>
#include <vector>

#include "codec/TrackParameters.h"
#include "platform/container/MatroskaFile.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

namespace android {
namespace {

using oxa::test::makeMatroska;
using oxa::test::MatroskaFile;
using oxa::test::MatroskaTrack;
using oxa::test::TempDir;
using oxa::test::writeFile;
using testing::ElementsAre;

constexpr uint64_t kHundredYearsMs = limits::kMaxTimeUs / 1000;

sp<NuMediaExtractor> openBytes(const std::string& bytes) {
    const std::string path = TempDir::ofProcess().file("limits");
    EXPECT_TRUE(writeFile(path, bytes));
    sp<NuMediaExtractor> extractor = new NuMediaExtractor(NuMediaExtractor::EntryPoint::OTHER);
    EXPECT_EQ(extractor->setDataSource(new FileSource(path.c_str())), OK);
    return extractor;
}

// With one sample, of the last track: a file without any is none.
sp<NuMediaExtractor> openTracks(const std::vector<MatroskaTrack>& tracks) {
    MatroskaFile file;
    file.tracks = tracks;
    file.samples = {{static_cast<uint8_t>(tracks.size()), 0, std::string(1600, 0)}};
    return openBytes(makeMatroska(file));
}

sp<AMessage> formatOf(const sp<NuMediaExtractor>& extractor, size_t track = 0) {
    sp<AMessage> format;
    EXPECT_EQ(extractor->getTrackFormat(track, &format), OK);
    return format;
}

std::vector<int64_t> timesUs(const sp<NuMediaExtractor>& extractor) {
    EXPECT_EQ(extractor->selectTrack(0), OK);
    std::vector<int64_t> times;
    int64_t timeUs = 0;
    while (extractor->getSampleTime(&timeUs) == OK) {
        times.push_back(timeUs);
        extractor->advance();
    }
    return times;
}

MatroskaTrack sound(int channels, double sampleRate) {
    MatroskaTrack track;
    track.channels = channels;
    track.sampleRate = sampleRate;
    return track;
}

MatroskaTrack picture(int width, int height) {
    MatroskaTrack track;
    track.video = true;
    track.codec = "V_VP8";
    track.width = width;
    track.height = height;
    return track;
}

MatroskaTrack withCodecData(int bytes) {
    MatroskaTrack track = sound(2, 48000);
    track.codecDataBytes = bytes;
    return track;
}

// A track that is beyond what the decoders may be asked for is not offered; the others are.
TEST(LimitsTest, LeavesOutTracksThatAreBeyond) {
    const struct {
        const char* what;
        MatroskaTrack largest;
        MatroskaTrack beyond;
    } kLimits[] = {{"points", picture(8192, 4352), picture(8192, 4353)},
                   {"width", picture(16384, 2176), picture(16385, 16)},
                   {"height", picture(2176, 16384), picture(16, 16385)},
                   {"channels", sound(64, 48000), sound(65, 48000)},
                   {"rate", sound(2, 1536000), sound(2, 1536001)},
                   {"lowest rate", sound(2, 1000), sound(2, 999)},
                   {"codec data", withCodecData(4 << 20), withCodecData((4 << 20) + 1)}};
    for (const auto& limit : kLimits) {
        SCOPED_TRACE(limit.what);
        EXPECT_EQ(openTracks({limit.largest, sound(1, 8000)})->countTracks(), 2u);
        EXPECT_EQ(openTracks({limit.beyond, sound(1, 8000)})->countTracks(), 1u);
    }
}

TEST(LimitsTest, ListsNoMoreThanTheFirstTracks) {
    const std::vector<MatroskaTrack> tracks(limits::kMaxTracks + 6, sound(1, 8000));
    EXPECT_EQ(openTracks(tracks)->countTracks(), limits::kMaxTracks);
}

TEST(LimitsTest, CutsTheLanguage) {
    MatroskaTrack track = sound(1, 8000);
    track.language = std::string(limits::kMaxLanguageLength, 'x') + "behind";
    AString language;
    ASSERT_TRUE(formatOf(openTracks({track}))->findString("language", &language));
    EXPECT_EQ(std::string(language.c_str()), std::string(limits::kMaxLanguageLength, 'x'));
}

// A picture that is larger than its container told: decoding it to learn of it took 400 MB.
TEST(LimitsTest, DoesNotDecodeATooLargePictureToDescribeIt) {
    // The header of a key frame with 16383x16383 points.
    std::string frame("\x10\x02\x00\x9d\x01\x2a\xff\x3f\xff\x3f", 10);
    frame.resize(400);
    MatroskaFile file;
    file.tracks = {picture(64, 48)};
    file.samples = {{1, 0, frame}, {1, 40, frame}};
    const sp<AMessage> format = formatOf(openBytes(makeMatroska(file)));
    int32_t width = 0;
    EXPECT_TRUE(format->findInt32("width", &width));
    EXPECT_EQ(width, 64);
}

// Sums with a wild time overflowed. A sample without a time of its own follows its predecessor.
TEST(LimitsTest, TakesWildTimesForNone) {
    MatroskaFile file;
    file.tracks = {sound(1, 8000)};
    const std::string data(1600, 0);  // 100 ms
    file.samples = {{1, 0, data},
                    {1, INT64_MAX / 2, data},
                    {1, kHundredYearsMs + 1000, data},
                    {1, kHundredYearsMs - 1000, data}};
    EXPECT_THAT(timesUs(openBytes(makeMatroska(file))),
                ElementsAre(0, 100000, 200000, limits::kMaxTimeUs - 1000000));
}

// The list of samples of an MP4 file can claim any size for them.
TEST(LimitsTest, AsksForNoBufferThatIsLargerThanTheFile) {
    std::string bytes = oxa::test::readFile(oxa::test::mediaPath("bunny_480p_hevc.mp4"));
    const size_t sizes = bytes.find("stsz");
    ASSERT_NE(sizes, std::string::npos);
    // Behind the name: flags, the common size (none), the count, the size of the first sample.
    bytes.replace(sizes + 16, 4, std::string("\x0f\xff\xff\xff", 4));
    int32_t maxInputSize = 0;
    EXPECT_TRUE(formatOf(openBytes(bytes))->findInt32("max-input-size", &maxInputSize));
    EXPECT_GE(maxInputSize, static_cast<int32_t>(bytes.size()));
    EXPECT_LE(maxInputSize, static_cast<int32_t>(bytes.size()) + (128 << 10));
}

TEST(LimitsTest, KnowsTimesThatItCanCountWith) {
    const struct {
        int64_t time;
        AVRational timeBase;
        bool allowed;
    } kTimes[] = {{0, {1, 90000}, true},
                  {1800000000, {1, 1}, true},
                  {limits::kMaxTimeUs, {1, 1000000}, true},
                  {limits::kMaxTimeUs + 1, {1, 1000000}, false},
                  {-limits::kMaxTimeUs - 1, {1, 1000000}, false},
                  {AV_NOPTS_VALUE, {1, 1000}, false},
                  {INT64_MAX, {1, INT32_MAX}, false},
                  {INT64_MAX / 8, {INT32_MAX, 1}, false}};
    for (const auto& c : kTimes) {
        SCOPED_TRACE(c.time);
        EXPECT_EQ(isTimeAllowed(c.time, c.timeBase), c.allowed);
        // Whatever it is, a track's time of it is a sane one.
        const AVCodecParameters parameters = {};
        const sp<TrackParameters> track = new TrackParameters(parameters, c.timeBase, INT64_MAX);
        EXPECT_LE(track->toUs(c.time), 0);
        EXPECT_GE(track->toUs(c.time), -2 * limits::kMaxTimeUs);
    }
}

}  // namespace
}  // namespace android
