// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <oxa/host/HdmiSound.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iostream>
#include <random>
#include <string>
#include <thread>

#include "live/LiveJob.h"
#include "support/Deadline.h"
#include "transcode/LibraryJob.h"
#include "transcode/TranscodeKit.h"
#include "transcode/Watchdog.h"

namespace oxa::test {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kStopLimit{20};
constexpr int kStops = 10;
constexpr double kLongestPauseMs = 2000;

enum class Moment { kAfterStart, kAfterSwitchOff, kAfterSwitchOn, kCount };

// The pause before a stop is the case itself: no check depends on how far the recording has come.
class LiveStopTest : public testing::TestWithParam<bool> {
  protected:
    static LiveOptions options() {
        LiveOptions options;
        options.hdmi = GetParam();
        options.source = options.hdmi ? flashesAndBeeps() : "testsrc2=size=320x240:rate=30";
        options.microphone = "sine=frequency=440:sample_rate=48000";
        return options;
    }

    static bool hasCaptured(LiveJob* job) {
        android::_RECORDING_PROGRESS progress;
        EXPECT_EQ(job->player().getRecordingProgress(&progress), android::OK);
        return progress.capturedTimeUs >= 0;
    }

    void recordAndStop(Moment moment, milliseconds pause) {
        LiveJob job(options());
        ASSERT_NO_FATAL_FAILURE(job.start());
        ASSERT_NO_FATAL_FAILURE(job.setRecording(true));
        if (moment != Moment::kAfterStart) {
            ASSERT_TRUE(waitFor([&] { return hasCaptured(&job); }));
            ASSERT_NO_FATAL_FAILURE(job.setRecording(false));
        }
        if (moment == Moment::kAfterSwitchOn) {
            ASSERT_NO_FATAL_FAILURE(job.setRecording(true));
        }
        std::this_thread::sleep_for(pause);
        {
            const Watchdog watchdog("stopping after " + std::to_string(pause.count()) + " ms",
                                    kStopLimit);
            const Clock::time_point begin = Clock::now();
            job.stop();
            mLongestStop = std::max(mLongestStop, Clock::now() - begin);
            job.cleanUp();
        }
        for (const std::string& file : job.defaultRecordings())
            expectEmptyOrPlayable(file);
    }

    Clock::duration mLongestStop{0};
};

TEST_P(LiveStopTest, stopsAtAnyMomentAndLeavesNothingBehind) {
    std::mt19937 random(GetParam() ? 1 : 2);
    std::uniform_real_distribution<double> part(0, 1);
    // The service is the process's and stays.
    host::startHdmiSoundService();
    ProcessUse before = currentUse();
    // What is opened once for a process is opened here. No thread may stay.
    ASSERT_NO_FATAL_FAILURE(recordAndStop(Moment::kAfterStart, milliseconds(200)));
    before.descriptors = currentUse().descriptors;
    const int stops = kStops * testRounds(1);
    for (int i = 0; i < stops; ++i) {
        // Most of what can go wrong is near the start.
        const milliseconds pause(std::lround(kLongestPauseMs * std::pow(part(random), 3)));
        const auto moment = static_cast<Moment>(i % static_cast<int>(Moment::kCount));
        SCOPED_TRACE("stop " + std::to_string(i) + ", " + std::to_string(pause.count()) +
                     " ms, moment " + std::to_string(static_cast<int>(moment)));
        ASSERT_NO_FATAL_FAILURE(recordAndStop(moment, pause));
        // The kernel may list a thread for a moment after it was joined.
        ASSERT_TRUE(waitFor([&] { return currentUse() == before; }, milliseconds(5000)))
                << currentUse().descriptors - before.descriptors << " descriptors and "
                << currentUse().threads - before.threads << " threads are left";
    }
    std::cout << "longest of " << stops
              << " stops: " << std::chrono::duration<double, std::milli>(mLongestStop).count()
              << " ms\n";
}

INSTANTIATE_TEST_SUITE_P(Sources, LiveStopTest, testing::Bool(),
                         [](const auto& info) { return info.param ? "Hdmi" : "Usb"; });

}  // namespace
}  // namespace oxa::test
