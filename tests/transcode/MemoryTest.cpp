// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <string>

#include "support/MediaProbe.h"
#include "support/TempDir.h"
#include "support/TestClips.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

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
    const int64_t half = peakKiB(60);
    const int64_t whole = peakKiB(120);
    EXPECT_LT(whole, half + kMaxGrowthKiB);
    EXPECT_LT(whole, 100 << 10);
    std::cout << "peak: " << half << " KiB, twice as long " << whole << " KiB\n";
}

}  // namespace
}  // namespace oxa::test
