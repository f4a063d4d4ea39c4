// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/CodecConfig.h>
#include <sched.h>

#include "support/LibraryJob.h"
#include "support/SampleList.h"
#include "support/Test.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

constexpr std::chrono::seconds kLimit{20};
constexpr int kPictures = 25;

// ---- To the end ---------------------------------------------------------------------------------

// One after the other in this process; each must give the whole file.
void transcodeManyTimes() {
    const TempDir folder;
    ClipOptions options;
    options.seconds = 1;
    const std::string source = testClip(options);
    repeat(1, testRounds(10), kLimit, [&](int round) {
        const std::string output = folder.file(round % 2 == 0 ? "out.mp4" : "out.ts");
        ASSERT_NO_FATAL_FAILURE(transcodeByLibrary(source, output));
        const MediaProbe probe(output);
        ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
        ASSERT_EQ(probe.video()->frameCount, kPictures);
        ASSERT_EQ(probe.video()->decodeErrors, 0);
        ASSERT_EQ(probe.audio()->decodeErrors, 0);
        ASSERT_NEAR(probe.audio()->endUs, 1'000'000, 1024e6 / 48000);
    });
}

TEST(RepetitionTest, manyInARow) {
    transcodeManyTimes();
}

// A single processor runs threads in orders that several rarely show.
TEST(RepetitionTest, manyInARowOnOneProcessor) {
    cpu_set_t all;
    ASSERT_EQ(sched_getaffinity(0, sizeof(all), &all), 0);
    cpu_set_t one;
    CPU_ZERO(&one);
    for (int cpu = 0; cpu < CPU_SETSIZE && CPU_COUNT(&one) == 0; ++cpu) {
        if (CPU_ISSET(cpu, &all)) CPU_SET(cpu, &one);
    }
    ASSERT_EQ(sched_setaffinity(0, sizeof(one), &one), 0);
    transcodeManyTimes();
    EXPECT_EQ(sched_setaffinity(0, sizeof(all), &all), 0);
}

TEST(SoundRateTest, isTheLibrarysWhereNobodyAsksForOne) {
    const TempDir folder;
    const std::string output = folder.file("out.mp4");
    const std::string input = mediaPath("friday_480p_audio_first.mp4");
    ASSERT_NO_FATAL_FAILURE(transcodeByLibrary(input, output, android::CODEC_AUDIO_ONLY));
    size_t bytes = 0;
    for (const StoredSample& sample : soundSamples(output))
        bytes += sample.data.size();
    EXPECT_NEAR(8 * bytes / (MediaProbe(output).audio()->durationUs() / 1e6), 128000, 10000);
}

// ---- An encoder that gives its codec-specific data first, as televisions' do

TEST(CodecConfigTest, isNoPictureWhereItComesFirst) {
    const TempDir folder;
    ClipOptions options;
    options.seconds = 1;
    options.audio = false;
    const std::string source = testClip(options);
    host::setCodecConfigOutput(true);
    for (const char* name : {"out.mp4", "out.ts"}) {
        const std::string output = folder.file(name);
        ASSERT_NO_FATAL_FAILURE(transcodeByLibrary(source, output, android::CODEC_VIDEO_ONLY));
        EXPECT_EQ(complaintsAbout(output), "");
        EXPECT_EQ(MediaProbe(output).video()->frameCount, kPictures);
    }
    host::setCodecConfigOutput(false);
}

// ---- Memory -------------------------------------------------------------------------------------

// The peak of a transcode's memory, of a file without picture.
int64_t peakKiB(double seconds) {
    ClipOptions options;
    options.video = false;
    options.extension = "mp2";
    options.audioCodec = "mp2";
    options.seconds = seconds;
    TempDir folder;
    const std::string output = folder.file("out.mp4");
    const ProcessResult result = transcode(testClip(options), output);
    EXPECT_NEAR(MediaProbe(output).audio()->endUs, seconds * 1e6, 50'000);
    return result.maxResidentKiB;
}

// The sound is read far faster than it can be encoded: two minutes are 23 MB when decoded.
TEST(MemoryTest, doesNotGrowWithTheLengthOfTheSound) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "what a sanitizer keeps in memory is not the program's";
#endif
    constexpr int64_t kMaxGrowthKiB = 8 << 10;
    const double seconds = 60.0 * testRounds(1);
    const int64_t half = peakKiB(seconds);
    const int64_t whole = peakKiB(2 * seconds);
    EXPECT_LT(whole, half + kMaxGrowthKiB);
    EXPECT_LT(whole, 100 << 10);
    std::cout << "peak: " << half << " KiB, twice as long " << whole << " KiB\n";
}

}  // namespace
}  // namespace oxa::test
