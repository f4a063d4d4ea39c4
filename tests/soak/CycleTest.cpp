// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <iostream>
#include <memory>
#include <string>

#include "live/LiveJob.h"
#include "play/LibraryPlay.h"
#include "soak/ProcessMemory.h"
#include "support/Deadline.h"
#include "support/TempDir.h"
#include "support/TestClips.h"
#include "transcode/LibraryJob.h"
#include "transcode/TranscodeKit.h"
#include "transcode/Watchdog.h"

namespace oxa::test {
namespace {

constexpr int kUsualRounds = 1000;
constexpr int kFirstRounds = 20;
constexpr int64_t kMostGrowthBytes = 2 << 20;
constexpr std::chrono::seconds kCycleLimit{30};

// How far a player is taken before it is cleaned up.
enum class Depth { kInitiated, kPrepared, kStarted, kCount };

void playOnce(Depth depth, const std::string& /*folder*/) {
    PlayOptions options;
    options.input = mediaPath("flower_540p_h264_aac.mp4");
    LibraryPlay play(options);
    if (depth == Depth::kInitiated) return;
    ASSERT_NO_FATAL_FAILURE(play.prepare());
    if (depth == Depth::kStarted) play.run();
}

void transcodeOnce(Depth depth, const std::string& folder) {
    LibraryJob job({mediaPath("flower_540p_h264_aac.mp4"), folder + "/out.mp4"});
    if (depth == Depth::kInitiated) return;
    ASSERT_NO_FATAL_FAILURE(job.start());
    if (depth == Depth::kStarted) job.stopAndCleanUp();
}

void liveOnce(bool hdmi, Depth depth, const std::string& folder) {
    LiveOptions options;
    options.hdmi = hdmi;
    options.source = hdmi ? flashesAndBeeps() : "testsrc2=size=320x240:rate=30";
    options.microphone = "sine=frequency=440:sample_rate=48000";
    options.output = folder + "/out.mp4";
    LiveJob job(options);
    if (depth == Depth::kInitiated) return;
    ASSERT_NO_FATAL_FAILURE(job.prepare());
    if (depth != Depth::kStarted) return;
    job.run();
    ASSERT_NO_FATAL_FAILURE(job.setRecording(true));
}

struct ModeCase {
    const char* name;
    void (*cycle)(Depth depth, const std::string& folder);
};

class CycleTest : public testing::TestWithParam<ModeCase> {};

// A player that comes and goes a thousand times leaves the process as it was.
TEST_P(CycleTest, leavesNothingBehind) {
    const TempDir folder;
    ProcessUse before;
    int64_t bytesBefore = 0;
    const int rounds = kFirstRounds + testRounds(kUsualRounds);
    for (int round = 0; round < rounds; ++round) {
        const auto depth = static_cast<Depth>(round % static_cast<int>(Depth::kCount));
        {
            const Watchdog watchdog("cycle " + std::to_string(round), kCycleLimit);
            ASSERT_NO_FATAL_FAILURE(GetParam().cycle(depth, folder.path())) << "round " << round;
        }
        // What is opened and allocated once for a process is there after some rounds.
        if (round < kFirstRounds) before = currentUse();
        if (round == kFirstRounds) bytesBefore = allocatedBytes();
    }
    EXPECT_TRUE(waitFor([&] { return currentUse() == before; }, std::chrono::seconds(5)))
            << currentUse().descriptors - before.descriptors << " descriptors and "
            << currentUse().threads - before.threads << " threads are left";
    const int64_t growth = allocatedBytes() - bytesBefore;
    EXPECT_LT(growth, kMostGrowthBytes);
    std::cout << "memory in use after " << rounds - kFirstRounds << " more rounds: " << growth
              << " bytes more\n";
}

INSTANTIATE_TEST_SUITE_P(Modes, CycleTest,
                         testing::Values(ModeCase{"Play", playOnce},
                                         ModeCase{"Transcode", transcodeOnce},
                                         ModeCase{"Hdmi",
                                                  [](Depth depth, const std::string& folder) {
                                                      liveOnce(true, depth, folder);
                                                  }},
                                         ModeCase{"Usb",
                                                  [](Depth depth, const std::string& folder) {
                                                      liveOnce(false, depth, folder);
                                                  }}),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace oxa::test
