// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "support/Deadline.h"
#include "support/TempDir.h"
#include "support/TestClips.h"
#include "transcode/LibraryJob.h"
#include "transcode/TranscodeKit.h"
#include "transcode/Watchdog.h"

namespace oxa::test {
namespace {

using std::chrono::milliseconds;

constexpr std::chrono::seconds kStopLimit{20};

struct StopCase {
    const char* name;
    const char* output;
    int onlyTrack;
};

// The pause before the stop is the case itself: no check depends on how far the job has come.
class StopTest : public testing::TestWithParam<StopCase> {
  protected:
    LibraryJob::Work work() const {
        LibraryJob::Work work;
        work.input = mediaPath("flower_540p_h264_aac.mp4");
        work.output = mFolder.file(GetParam().output);
        work.onlyTrack = GetParam().onlyTrack;
        return work;
    }

    void startAndStopAfter(milliseconds pause) {
        LibraryJob job(work());
        ASSERT_NO_FATAL_FAILURE(job.start());
        std::this_thread::sleep_for(pause);
        const Watchdog watchdog("stopping after " + std::to_string(pause.count()) + " ms",
                                kStopLimit);
        job.stopAndCleanUp();
    }

    TempDir mFolder;
};

TEST_P(StopTest, stopsAtAnyMomentAndLeavesNothingBehind) {
    ProcessUse before = currentUse();
    // What is opened once for a process is opened here. No thread may stay.
    ASSERT_NO_FATAL_FAILURE(startAndStopAfter(milliseconds(200)));
    before.descriptors = currentUse().descriptors;
    for (int round = testRounds(3); round > 0; --round) {
        for (int pause : {0, 1, 5, 20, 50, 100, 500}) {
            SCOPED_TRACE(std::to_string(pause) + " ms");
            ASSERT_NO_FATAL_FAILURE(startAndStopAfter(milliseconds(pause)));
            // The kernel may list a thread for a moment after it was joined.
            EXPECT_TRUE(waitFor([&] { return currentUse() == before; }, milliseconds(5000)))
                    << currentUse().descriptors - before.descriptors << " descriptors and "
                    << currentUse().threads - before.threads << " threads are left";
            expectEmptyOrPlayable(work().output);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
        Jobs, StopTest,
        testing::Values(StopCase{"Mp4", "out.mp4", 0},
                        StopCase{"Mp4Sound", "out.mp4", android::CODEC_AUDIO_ONLY},
                        StopCase{"Mp4Picture", "out.mp4", android::CODEC_VIDEO_ONLY},
                        StopCase{"Ts", "out.ts", 0},
                        StopCase{"TsSound", "out.ts", android::CODEC_AUDIO_ONLY},
                        StopCase{"TsPicture", "out.ts", android::CODEC_VIDEO_ONLY}),
        [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace oxa::test
