// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <csignal>
#include <random>

#include "cli/PlayerProgram.h"
#include "support/MediaProbe.h"
#include "support/Test.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

using nlohmann::json;
using std::chrono::milliseconds;

constexpr int kUsualRounds = 3;
constexpr int kEarliestMs = 1800;
constexpr int kSpreadMs = 2500;
constexpr double kMostMissingS = 1.5;

struct Recording : Named {
    const char* container;
    int rate;
    bool powerFails = false;
};

class RecordKillTest : public testing::TestWithParam<Recording> {};

// What a kill leaves: the file of a process that had no chance to end it, on a system that goes on;
// and what a power failure leaves of it, which is what was synced.
TEST_P(RecordKillTest, losesAtMostTheLastMoment) {
    const TempDir folder;
    const std::string source =
            "lavfi:testsrc2=size=320x180:rate=" + std::to_string(GetParam().rate) + ";sine";
    std::mt19937 random(1);
    for (int round = 0; round < testRounds(kUsualRounds); ++round) {
        const std::string output = folder.file(std::to_string(round) + "." + GetParam().container);
        const milliseconds delay(kEarliestMs + static_cast<int>(random() % kSpreadMs));
        SCOPED_TRACE("killed after " + std::to_string(delay.count()) + " ms");
        ProcessRunner runner({OXA_FAULTY_PROGRAM, "record", "--usb", source, "-o", output,
                              "--preset", "ultrafast", "--json"});
        if (GetParam().powerFails) runner.setEnvironment("OXA_FAULT", "power-failure");
        const ProcessResult result =
                runner.signalOnText(0, "\"progress\"").signalAfter(SIGKILL, delay).run();
        ASSERT_EQ(result.signal, SIGKILL);
        // The last line may have been cut by the kill.
        const std::string out = result.out.substr(0, result.out.rfind('\n') + 1);
        const auto progress = eventsNamed(eventsOf(out), "progress");
        ASSERT_FALSE(progress.empty());
        const MediaProbe probe(output + (GetParam().powerFails ? ".synced" : ""));
        ASSERT_TRUE(probe.ok()) << probe.error();
        ASSERT_NE(probe.video(), nullptr);
        EXPECT_EQ(probe.video()->decodeErrors, 0);
        ASSERT_NE(probe.audio(), nullptr);
        // The last sync may have begun a second before.
        const double mostMissingS = kMostMissingS + (GetParam().powerFails ? 1 : 0);
        const double recordedS = progress.back()["time_s"].get<double>();
        EXPECT_GE(probe.video()->endUs / 1e6, recordedS - mostMissingS);
        EXPECT_GE(probe.audio()->endUs / 1e6, recordedS - mostMissingS);
        EXPECT_EQ(runPlayer({"probe", output}).exitCode, 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Containers, RecordKillTest,
                         testing::Values(Recording{"mp4", "mp4", 30}, Recording{"ts", "ts", 30},
                                         Recording{"mp4SlowCamera", "mp4", 2},
                                         Recording{"tsSlowCamera", "ts", 2},
                                         Recording{"mp4PowerFails", "mp4", 30, true},
                                         Recording{"tsPowerFails", "ts", 30, true}),
                         rowName<Recording>);

}  // namespace
}  // namespace oxa::test
