// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "cli/PlayerProgram.h"
#include "support/Test.h"

namespace oxa::test {
namespace {

// Far more than any recording needs to show a leak of a few bytes a sample.
TEST(SoakTest, threeHoursOfSoundInFlatMemory) {
    constexpr int kSeconds = 3 * 3600;
    constexpr int64_t kMaxResidentKiB = 200 << 10;
    const TempDir folder;
    const std::string source = folder.file("source.mp2");
    const std::string output = folder.file("out.mp4");
    ASSERT_TRUE(ProcessRunner({"ffmpeg", "-v", "error", "-f", "lavfi", "-i",
                               "sine=frequency=440:sample_rate=48000:duration=" +
                                       std::to_string(kSeconds),
                               "-ac", "2", "-c:a", "mp2", source})
                        .setTimeLimit(std::chrono::minutes(30))
                        .run()
                        .ok());
    const ProcessResult result = player({"transcode", source, "-o", output})
                                         .setTimeLimit(std::chrono::minutes(90))
                                         .run();
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_LT(result.maxResidentKiB, kMaxResidentKiB);
    const ProcessResult duration = runOrDie({"ffprobe", "-v", "error", "-show_entries",
                                             "format=duration", "-of", "csv=p=0", output});
    EXPECT_NEAR(std::stod(duration.out), kSeconds, 0.05);
    std::cout << "peak: " << result.maxResidentKiB << " KiB\n";
}

}  // namespace
}  // namespace oxa::test
