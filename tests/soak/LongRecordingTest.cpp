// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <thread>

#include "live/LiveJob.h"
#include "soak/ProcessMemory.h"
#include "support/MediaProbe.h"
#include "support/TempDir.h"
#include "transcode/LibraryJob.h"

namespace oxa::test {
namespace {

constexpr int kUsualMinutes = 30;
constexpr double kSettledS = 30;
// The index of an MP4 and the notes of the recording display grow with the number of pictures.
constexpr int64_t kGrowthBytesPerMinute = 600 << 10;
constexpr int64_t kGrowthBytes = 4 << 20;

int soakMinutes() {
    const char* text = std::getenv("OXA_TEST_SOAK_MINUTES");
    return text != nullptr ? std::atoi(text) : kUsualMinutes;
}

// Waits in steps, because a live job gives up waiting for a single one that takes too long.
void waitUntilRecorded(LiveJob* job, double seconds) {
    for (double part = job->recordedSeconds(); part < seconds; part += 10)
        ASSERT_NO_FATAL_FAILURE(job->waitForRecorded(std::min(part + 10, seconds)));
}

TEST(LongRecordingTest, keepsItsMemoryAndAllPictures) {
    const TempDir folder;
    LiveOptions options;
    options.source = flashesAndBeeps();
    options.output = folder.file("out.mp4");
    const double seconds = soakMinutes() * 60.0;
    {
        // What lives as long as the process, such as the sound service's thread, begins here.
        LiveJob first(options);
        ASSERT_NO_FATAL_FAILURE(first.start());
    }
    const ProcessUse before = currentUse();
    int64_t settledBytes = 0;
    uint64_t dropped = 0;
    {
        LiveJob job(options);
        ASSERT_NO_FATAL_FAILURE(job.start());
        ASSERT_NO_FATAL_FAILURE(job.setRecording(true));
        ASSERT_NO_FATAL_FAILURE(waitUntilRecorded(&job, kSettledS));
        settledBytes = residentBytes();
        ASSERT_NO_FATAL_FAILURE(waitUntilRecorded(&job, seconds));
        const int64_t growth = residentBytes() - settledBytes;
        EXPECT_LT(growth, kGrowthBytes + soakMinutes() * kGrowthBytesPerMinute);
        dropped = job.lostPictures();
        std::cout << "resident " << settledBytes << " bytes, " << growth << " more at the end; "
                  << dropped << " pictures dropped\n";
        job.stop();
    }
    const ProcessUse after = currentUse();
    EXPECT_EQ(after.threads, before.threads);
    EXPECT_EQ(after.descriptors, before.descriptors);
    const MediaProbe probe(options.output);
    ASSERT_TRUE(probe.ok()) << probe.error();
    ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr);
    EXPECT_GE(probe.video()->frameCount + static_cast<int64_t>(dropped), 30 * seconds);
    EXPECT_EQ(probe.video()->decodeErrors, 0);
    EXPECT_NEAR(probe.audio()->durationUs() / 1e6, probe.video()->durationUs() / 1e6, 0.5);
}

}  // namespace
}  // namespace oxa::test
