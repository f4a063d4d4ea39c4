// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <sched.h>

#include <string>

#include "support/Deadline.h"
#include "support/MediaProbe.h"
#include "support/TempDir.h"
#include "support/TestClips.h"
#include "transcode/LibraryJob.h"
#include "transcode/TranscodeKit.h"
#include "transcode/Watchdog.h"

namespace oxa::test {
namespace {

constexpr std::chrono::seconds kJobLimit{20};
constexpr int kPictures = 25;

class RepetitionTest : public testing::Test {
  protected:
    // One after the other in this process; each must give the whole file.
    void transcodeManyTimes(int count) {
        ClipOptions options;
        options.seconds = 1;
        const std::string source = testClip(options);
        ProcessUse before = currentUse();
        for (int i = 0; i < count; ++i) {
            SCOPED_TRACE("job " + std::to_string(i));
            const std::string output = mFolder.file(i % 2 == 0 ? "out.mp4" : "out.ts");
            ASSERT_NO_FATAL_FAILURE(transcodeOnce(source, output));
            const MediaProbe probe(output);
            ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
            ASSERT_EQ(probe.video()->frameCount, kPictures);
            ASSERT_EQ(probe.video()->decodeErrors, 0);
            ASSERT_EQ(probe.audio()->decodeErrors, 0);
            ASSERT_NEAR(probe.audio()->endUs, 1'000'000, 1024e6 / 48000);
            if (i == 0) before.descriptors = currentUse().descriptors;
        }
        EXPECT_TRUE(waitFor([&] { return currentUse() == before; }))
                << currentUse().descriptors << " descriptors, " << currentUse().threads
                << " threads; before " << before.descriptors << " and " << before.threads;
    }

    void transcodeOnce(const std::string& source, const std::string& output) {
        const Watchdog watchdog("a transcode of one second", kJobLimit);
        LibraryJob::Work work;
        work.input = source;
        work.output = output;
        LibraryJob job(work);
        ASSERT_NO_FATAL_FAILURE(job.start());
        ASSERT_NO_FATAL_FAILURE(job.waitForEnd());
        job.stopAndCleanUp();
    }

    TempDir mFolder;
};

TEST_F(RepetitionTest, manyInARow) {
    transcodeManyTimes(testRounds(10));
}

// A single processor runs threads in orders that several rarely show.
TEST_F(RepetitionTest, manyInARowOnOneProcessor) {
    cpu_set_t all;
    ASSERT_EQ(sched_getaffinity(0, sizeof(all), &all), 0);
    cpu_set_t one;
    CPU_ZERO(&one);
    for (int cpu = 0; cpu < CPU_SETSIZE && CPU_COUNT(&one) == 0; ++cpu) {
        if (CPU_ISSET(cpu, &all)) CPU_SET(cpu, &one);
    }
    ASSERT_EQ(sched_setaffinity(0, sizeof(one), &one), 0);
    transcodeManyTimes(testRounds(10));
    EXPECT_EQ(sched_setaffinity(0, sizeof(all), &all), 0);
}

}  // namespace
}  // namespace oxa::test
