// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "ffmpeg/MediaLimits.h"

#include "ffmpeg/TrackParameters.h"
#include "platform/container/TrackSamples.h"
#include "support/Test.h"

namespace android {
namespace {

using oxa::test::TempDir;
using oxa::test::writeFile;
using testing::ElementsAre;

std::string bigEndian(uint64_t value, int bytes) {
    std::string text;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
        text += static_cast<char>(value >> shift);
    return text;
}

// An element of a Matroska file.
std::string element(uint32_t id, const std::string& content) {
    const int idBytes = id > 0xFFFFFF ? 4 : id > 0xFFFF ? 3 : id > 0xFF ? 2 : 1;
    constexpr uint64_t kLengthOfEightBytes = UINT64_C(1) << 56;
    return bigEndian(id, idBytes) + bigEndian(kLengthOfEightBytes | content.size(), 8) + content;
}

std::string number(uint32_t id, uint64_t value) {
    return element(id, bigEndian(value, 8));
}

// The elements of a track of 16-bit samples, with more of them behind.
std::string sound(int channels, double sampleRate, const std::string& more = "") {
    uint64_t rate;
    memcpy(&rate, &sampleRate, sizeof(rate));
    return number(0x83, 2) + element(0x86, "A_PCM/INT/LIT") +
           element(0xE1, number(0xB5, rate) + number(0x9F, channels) + number(0x6264, 16)) + more;
}

std::string picture(int width, int height) {
    return number(0x83, 1) + element(0x86, "V_VP8") +
           element(0xE0, number(0xB0, width) + number(0xBA, height));
}

std::string withCodecData(int bytes) {
    return sound(2, 48000, element(0x63A2, std::string(bytes, 0)));
}

sp<NuMediaExtractor> openBytes(const std::string& bytes) {
    const std::string path = TempDir::ofProcess().file("limits");
    EXPECT_TRUE(writeFile(path, bytes));
    return openClip(path);
}

struct Block {
    uint64_t timeMs;
    std::string data;
};

// The samples are those of the last track; a file without any is none.
sp<NuMediaExtractor> openTracks(const std::vector<std::string>& tracks,
                                const std::vector<Block>& samples = {{0, std::string(1600, 0)}}) {
    std::string list;
    for (size_t i = 0; i < tracks.size(); ++i)
        list += element(0xAE, number(0xD7, i + 1) + number(0x73C5, i + 1) + tracks[i]);
    std::string segment =
            element(0x1549A966, number(0x2AD7B1, 1000000)) + element(0x1654AE6B, list);
    for (const Block& sample : samples) {
        const std::string block = std::string(1, static_cast<char>(0x80 | tracks.size())) +
                                  std::string(2, '\0') + '\x80' + sample.data;
        segment += element(0x1F43B675, number(0xE7, sample.timeMs) + element(0xA3, block));
    }
    return openBytes(element(0x1A45DFA3, element(0x4282, "matroska")) +
                     element(0x18538067, segment));
}

// A track that is beyond what the decoders may be asked for is not offered; the others are.
TEST(LimitsTest, leavesOutTracksThatAreBeyond) {
    const struct {
        const char* what;
        std::string largest, beyond;
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
    const std::vector<std::string> many(limits::kMaxTracks + 6, sound(1, 8000));
    const sp<NuMediaExtractor> most = openTracks(many);
    EXPECT_EQ(most->countTracks(), limits::kMaxTracks);
    EXPECT_EQ(int32Of(formatOf(most, 7), "track-id"), 8) << "Matroska's are not told";
    EXPECT_TRUE(isPictureSizeAllowed(1, 1) && isSoundAllowed(1, 48000));
    EXPECT_FALSE(isPictureSizeAllowed(0, 1) || isPictureSizeAllowed(1, 0));
    EXPECT_FALSE(isSoundAllowed(0, 48000));
}

// The list of samples of an MP4 file can claim any size for them.
TEST(LimitsTest, asksForNoBufferThatIsLargerThanTheFile) {
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

TEST(LimitsTest, knowsTimesThatItCanCountWith) {
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
                  {INT64_MAX / 4, {1, INT32_MAX}, true},
                  {-(INT64_MAX / 4), {1, INT32_MAX}, true},
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
