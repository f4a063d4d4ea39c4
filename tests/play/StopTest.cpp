// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <random>

#include "support/LibraryJob.h"
#include "support/LibraryPlay.h"
#include "support/Test.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

using std::chrono::milliseconds;

constexpr std::chrono::seconds kStopLimit{20};
constexpr int kLongestPauseMs = 250;

enum class Ending { kStop, kCleanup, kStopDuringStart, kCount };

struct StopCase : Named {
    PlayOptions options;
};

// The pause before a stop is the case itself: no check depends on how far the playback has come.
class PlayStopTest : public testing::TestWithParam<StopCase> {
  protected:
    static void playAndEnd(milliseconds pause, Ending ending) {
        PlayOptions options = GetParam().options;
        options.input = mediaPath("flower_540p_h264_aac.mp4");
        LibraryPlay play(options);
        ASSERT_NO_FATAL_FAILURE(play.prepare());
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
};

TEST_P(PlayStopTest, endsAtAnyMomentAndLeavesNothingBehind) {
    std::mt19937 random(1);
    repeat(5, 8 * testRounds(1), kStopLimit, [&](int) {
        const milliseconds pause(random() % kLongestPauseMs);
        const auto ending = static_cast<Ending>(random() % static_cast<int>(Ending::kCount));
        SCOPED_TRACE(std::to_string(pause.count()) + " ms, ending " +
                     std::to_string(static_cast<int>(ending)));
        playAndEnd(pause, ending);
    });
}

INSTANTIATE_TEST_SUITE_P(Playbacks, PlayStopTest,
                         testing::Values(StopCase{"Both", {}},
                                         StopCase{"Sound", {"", android::CODEC_AUDIO_ONLY}},
                                         StopCase{"Picture", {"", android::CODEC_VIDEO_ONLY}},
                                         StopCase{"FreeRun", {"", 0, true}},
                                         StopCase{"Tunneled", {"", 0, false, true}}),
                         rowName<StopCase>);

}  // namespace
}  // namespace oxa::test
