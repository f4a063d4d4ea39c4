// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// The scenarios that users begin with, and what a recording makes of them.

#include "cli/PlayerProgram.h"
#include "support/MediaProbe.h"

namespace oxa::test {
namespace {

using testing::HasSubstr;

struct SampleScenario {
    const char* file;
    int exitCode;
    const char* cause;  // of a recording that ends with it
    size_t happens;     // so many of its steps, until then
    double seconds;     // the file's
};

TEST(TelevisionCli, sampleScenariosHappenWhileItIsRecorded) {
    const SampleScenario kScenarios[] = {
            {"cable-pulled.scenario", 1, "the device is gone", 1, 2},
            {"size-change.scenario", 0, "", 6, 5},
            {"service-dies.scenario", 1, "the service has died", 3, 3}};
    for (const SampleScenario& scenario : kScenarios) {
        SCOPED_TRACE(scenario.file);
        const TempDir folder;
        const std::string output = folder.file("out.mp4");
        const ProcessResult result =
                runPlayer({"record", "--hdmi", "lavfi:testsrc2=size=640x360:rate=30;sine", "-o",
                           output, "--preset", "ultrafast", "--duration", "5", "--json",
                           "--scenario", std::string(OXA_SAMPLES "/") + scenario.file});
        EXPECT_EQ(result.exitCode, scenario.exitCode) << result.err;
        EXPECT_THAT(result.err, HasSubstr(scenario.cause));
        const auto events = eventsOf(result.out);
        const auto steps = eventsNamed(events, "scenario");
        ASSERT_EQ(steps.size(), scenario.happens);
        EXPECT_LE(steps.back()["time_s"], scenario.seconds);
        const MediaProbe probe(output);
        ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
        EXPECT_EQ(probe.video()->decodeErrors, 0);
        EXPECT_EQ(probe.video()->width, 640) << "a recording keeps its size";
        EXPECT_NEAR(probe.video()->durationUs() / 1e6, scenario.seconds, 0.7);
    }
}

// A driver that knows of no signal, or of one that cannot be, is waited for.
TEST(TelevisionCli, goesOnWhenCableAndDriverAreBack) {
    const TempDir folder;
    const std::string scenario = folder.file("x.scenario");
    ASSERT_TRUE(writeFile(scenario,
                          "0.8004 driver missing\n1 unplug\n1.5 plug\n2.2 driver wrong\n"
                          "3 size 320x180\n3 driver ok\n"));
    const ProcessResult result =
            runPlayer({"record", "--hdmi", "lavfi:testsrc2=size=640x360:rate=30;sine", "-o",
                       folder.file("out.mp4"), "--preset", "ultrafast", "--duration", "2",
                       "--reconnect", "--json", "--scenario", scenario});
    ASSERT_EQ(result.exitCode, 0) << result.signal << result.err;
    EXPECT_EQ(eventsNamed(eventsOf(result.out), "scenario").size(), 6u);
    EXPECT_THAT(result.err, HasSubstr("\n0.8004 s: driver missing\n"));
    EXPECT_EQ(MediaProbe(folder.file("out-001.mp4")).video()->width, 640);
    const MediaProbe second(folder.file("out-002.mp4"));
    ASSERT_TRUE(second.ok()) << second.error();
    EXPECT_EQ(second.video()->width, 320);
    EXPECT_EQ(second.video()->decodeErrors, 0);
}

}  // namespace
}  // namespace oxa::test
