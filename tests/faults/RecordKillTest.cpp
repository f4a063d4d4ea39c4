// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <csignal>
#include <random>

#include "cli/PlayerProgram.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

constexpr int kUsualRounds = 3;
constexpr int kEarliestMs = 1800;
constexpr int kSpreadMs = 2500;

struct Recording : Named {
    const char* container;
    int rate;
    const char* fault = "";
    int processors = 0;  // 0: as many as there are

    bool isFault(const char* other) const { return std::string(fault).rfind(other, 0) == 0; }
    // The last sync may have begun a second before.
    double mostMissingS() const { return isFault("power-failure") ? 2.5 : 1.5; }
};

void expectTracksUntil(double endS, const Recording& recording, const std::string& output) {
    const MediaProbe probe(output);
    ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
    EXPECT_EQ(probe.video()->decodeErrors, 0);
    if (!recording.isFault("camera-stalls")) {
        EXPECT_GE(probe.video()->endUs / 1e6, endS);
    }
    EXPECT_GE(probe.audio()->endUs / 1e6, endS);
}

// What a kill leaves: the file of a process that had no chance to end it, on a system that goes on;
// and what a power failure leaves of it, which is what was synced.
void expectLittleIsLost(const Recording& recording, int round) {
    const TempDir folder;
    const std::string source =
            "lavfi:testsrc2=size=320x180:rate=" + std::to_string(recording.rate) + ";sine";
    const std::string output = folder.file("killed.") + recording.container;
    std::mt19937 random(static_cast<unsigned>(round));
    const std::chrono::milliseconds delay(kEarliestMs + static_cast<int>(random() % kSpreadMs));
    SCOPED_TRACE("killed after " + std::to_string(delay.count()) + " ms");
    ProcessRunner runner({OXA_FAULTY_PROGRAM, "record", "--usb", source, "-o", output, "--preset",
                          "ultrafast", "--json"});
    runner.setEnvironment("OXA_FAULT", recording.fault);
    runner.setEnvironment("OXA_PROCESSORS", std::to_string(recording.processors));
    const ProcessResult result =
            runner.signalOnText(0, "\"progress\"").signalAfter(SIGKILL, delay).run();
    // A camera that stalls ends the recording itself after some seconds.
    if (result.exitCode != 1 || !recording.isFault("camera-stalls")) {
        ASSERT_EQ(result.signal, SIGKILL);
    }
    // The last line may have been cut by the kill.
    const std::string out = result.out.substr(0, result.out.rfind('\n') + 1);
    const auto progress = eventsNamed(eventsOf(out), "progress");
    ASSERT_FALSE(progress.empty());
    const double recordedS = progress.back()["time_s"].get<double>();
    const char* const kept = recording.isFault("power-failure") ? ".synced" : "";
    expectTracksUntil(recordedS - recording.mostMissingS(), recording, output + kept);
    EXPECT_EQ(runPlayer({"probe", output}).exitCode, 0);
}

class RecordKillTest : public testing::TestWithParam<Recording> {};

TEST_P(RecordKillTest, losesAtMostTheLastMoment) {
    for (int round = 0; round < testRounds(kUsualRounds); ++round)
        expectLittleIsLost(GetParam(), round);
}

INSTANTIATE_TEST_SUITE_P(Containers, RecordKillTest,
                         testing::Values(Recording{"mp4", "mp4", 30}, Recording{"ts", "ts", 30},
                                         Recording{"mp4SlowCamera", "mp4", 2},
                                         Recording{"tsSlowCamera", "ts", 2},
                                         Recording{"mp4PowerFails", "mp4", 30, "power-failure"},
                                         Recording{"tsPowerFails", "ts", 30, "power-failure"},
                                         Recording{"mp4CameraStalls", "mp4", 15, "camera-stalls@1"},
                                         Recording{"tsCameraStalls", "ts", 15, "camera-stalls@1"}),
                         rowName<Recording>);

using Machine = std::tuple<std::string, int, int>;

class RecordKillMachinesTest : public testing::TestWithParam<Machine> {};

TEST_P(RecordKillMachinesTest, losesAtMostTheLastMoment) {
    const auto [container, rate, processors] = GetParam();
    for (int round = 0; round < testRounds(kUsualRounds); ++round)
        expectLittleIsLost({{""}, container.c_str(), rate, "", processors}, round);
}

std::string machineName(const testing::TestParamInfo<Machine>& info) {
    const auto [container, rate, processors] = info.param;
    return container + "At" + std::to_string(rate) + "On" + std::to_string(processors);
}

INSTANTIATE_TEST_SUITE_P(All, RecordKillMachinesTest,
                         testing::Combine(testing::Values(std::string("mp4"), std::string("ts")),
                                          testing::Values(2, 5, 15, 30, 60),
                                          testing::Values(1, 2, 4, 8, 16)),
                         machineName);

}  // namespace
}  // namespace oxa::test
