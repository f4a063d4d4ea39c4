// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <malloc.h>

#include <chrono>
#include <iostream>
#include <random>
#include <string>
#include <thread>

#include "play/LibraryPlay.h"
#include "support/Deadline.h"
#include "support/TestClips.h"
#include "transcode/LibraryJob.h"
#include "transcode/TranscodeKit.h"
#include "transcode/Watchdog.h"

namespace oxa::test {
namespace {

using std::chrono::milliseconds;

constexpr std::chrono::seconds kStopLimit{20};
constexpr int kFirstRounds = 5;
constexpr int kRoundsAtOnce = 8;
constexpr int kLongestPauseMs = 250;
constexpr int64_t kMostGrowthBytes = 2 << 20;

enum class Ending { kStop, kCleanup, kStopDuringStart, kCount };

struct StopCase {
    const char* name;
    int onlyTrack;
    bool freeRun;
    bool tunneled;
};

// The pause before a stop is the case itself: no check depends on how far the playback has come.
class PlayStopTest : public testing::TestWithParam<StopCase> {
  protected:
    PlayOptions options() const {
        PlayOptions options;
        options.input = mediaPath("flower_540p_h264_aac.mp4");
        options.onlyTrack = GetParam().onlyTrack;
        options.freeRun = GetParam().freeRun;
        options.tunneled = GetParam().tunneled;
        return options;
    }

    void playAndEnd(milliseconds pause, Ending ending) {
        LibraryPlay play(options());
        ASSERT_NO_FATAL_FAILURE(play.prepare());
        const Watchdog watchdog("ending a playback after " + std::to_string(pause.count()) + " ms",
                                kStopLimit);
        if (ending == Ending::kStopDuringStart) {
            std::thread starter([&] { play.run(); });
            std::this_thread::sleep_for(pause / 10);
            play.stop();
            starter.join();
        } else {
            ASSERT_NO_FATAL_FAILURE(play.run());
            std::this_thread::sleep_for(pause);
        }
        if (ending != Ending::kCleanup) play.stop();
    }

    static int64_t usedBytes() { return static_cast<int64_t>(mallinfo2().uordblks); }
};

TEST_P(PlayStopTest, endsAtAnyMomentAndLeavesNothingBehind) {
    std::mt19937 random(1);
    ProcessUse before = currentUse();
    int64_t bytesBefore = 0;
    const int rounds = kFirstRounds + testRounds(1) * kRoundsAtOnce;
    for (int round = 0; round < rounds; ++round) {
        const milliseconds pause(random() % kLongestPauseMs);
        const auto ending = static_cast<Ending>(random() % static_cast<int>(Ending::kCount));
        SCOPED_TRACE("round " + std::to_string(round) + ", " + std::to_string(pause.count()) +
                     " ms, ending " + std::to_string(static_cast<int>(ending)));
        ASSERT_NO_FATAL_FAILURE(playAndEnd(pause, ending));
        // What is opened and allocated once for a process is there after some rounds.
        if (round < kFirstRounds) before.descriptors = currentUse().descriptors;
        if (round == kFirstRounds) bytesBefore = usedBytes();
        // The kernel may list a thread for a moment after it was joined.
        ASSERT_TRUE(waitFor([&] { return currentUse() == before; }, milliseconds(5000)))
                << currentUse().descriptors - before.descriptors << " descriptors and "
                << currentUse().threads - before.threads << " threads are left";
    }
    const int64_t growth = usedBytes() - bytesBefore;
    EXPECT_LT(growth, kMostGrowthBytes);
    std::cout << "memory in use after " << rounds - kFirstRounds << " more rounds: " << growth
              << " bytes more\n";
}

INSTANTIATE_TEST_SUITE_P(
        Playbacks, PlayStopTest,
        testing::Values(StopCase{"Both", 0, false, false},
                        StopCase{"Sound", android::CODEC_AUDIO_ONLY, false, false},
                        StopCase{"Picture", android::CODEC_VIDEO_ONLY, false, false},
                        StopCase{"FreeRun", 0, true, false}, StopCase{"Tunneled", 0, false, true}),
        [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace oxa::test
