// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <iostream>
#include <thread>
#include <vector>

#include "live/LiveJob.h"
#include "play/LibraryPlay.h"
#include "soak/ProcessMemory.h"
#include "support/Deadline.h"
#include "support/MediaProbe.h"
#include "support/TempDir.h"
#include "support/TestClips.h"
#include "transcode/LibraryJob.h"
#include "transcode/TranscodeKit.h"
#include "transcode/Watchdog.h"

namespace oxa::test {
namespace {

constexpr int kPlayers = 4;
constexpr int kTranscoders = 3;
constexpr int kUsualRounds = 20;
constexpr std::chrono::minutes kRoundLimit{3};
constexpr int64_t kMostGrowthBytes = 4 << 20;

void playAll() {
    PlayOptions options;
    options.input = mediaPath("flower_540p_h264_aac.mp4");
    LibraryPlay play(options);
    ASSERT_NO_FATAL_FAILURE(play.start());
    ASSERT_NO_FATAL_FAILURE(play.waitForEnd());
    play.stopAndCleanUp();
}

void transcodeAll(const std::string& output) {
    const std::string input = mediaPath("flower_540p_h264_aac.mp4");
    {
        LibraryJob job({input, output});
        ASSERT_NO_FATAL_FAILURE(job.start());
        ASSERT_NO_FATAL_FAILURE(job.waitForEnd());
        job.stopAndCleanUp();
    }
    const MediaProbe source(input);
    const MediaProbe result(output);
    ASSERT_TRUE(result.ok()) << result.error();
    EXPECT_EQ(result.video()->frameCount, source.video()->frameCount);
}

// Eight at once: a receiver is recorded while seven others come and go. Each player that ends drops
// what is known of the receiver's signal, which the recording must outlive.
void recordBesideOthers(const std::string& folder) {
    LiveOptions options;
    options.source = flashesAndBeeps();
    options.output = folder + "/live.mp4";
    {
        LiveJob live(options);
        ASSERT_NO_FATAL_FAILURE(live.start());
        ASSERT_NO_FATAL_FAILURE(live.setRecording(true));
        std::vector<std::thread> others;
        for (int i = 0; i < kPlayers; ++i)
            others.emplace_back(playAll);
        for (int i = 0; i < kTranscoders; ++i)
            others.emplace_back(transcodeAll, folder + "/" + std::to_string(i) + ".mp4");
        for (std::thread& other : others)
            other.join();
        ASSERT_NO_FATAL_FAILURE(live.recordAnew(std::chrono::milliseconds(0)));
        ASSERT_NO_FATAL_FAILURE(live.waitForRecorded(0.5));
        live.stop();
    }
    const MediaProbe probe(options.output);
    ASSERT_TRUE(probe.ok()) << probe.error();
    ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr);
    EXPECT_EQ(probe.video()->decodeErrors, 0);
}

TEST(ManyPlayersTest, eightAtOnceDoNotHarmEachOther) {
    const TempDir folder;
    ProcessUse before;
    int64_t bytesBefore = 0;
    const int rounds = testRounds(kUsualRounds);
    for (int round = 0; round < rounds; ++round) {
        {
            const Watchdog watchdog("round " + std::to_string(round), kRoundLimit);
            ASSERT_NO_FATAL_FAILURE(recordBesideOthers(folder.path())) << "round " << round;
        }
        if (round > 0) continue;
        before = currentUse();
        bytesBefore = allocatedBytes();
    }
    EXPECT_TRUE(waitFor([&] { return currentUse() == before; }, std::chrono::seconds(5)))
            << currentUse().descriptors - before.descriptors << " descriptors and "
            << currentUse().threads - before.threads << " threads are left";
    const int64_t growth = allocatedBytes() - bytesBefore;
    EXPECT_LT(growth, kMostGrowthBytes);
    std::cout << "memory in use after " << rounds - 1 << " more rounds: " << growth
              << " bytes more\n";
}

}  // namespace
}  // namespace oxa::test
