// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/HdmiReceiver.h>
#include <oxa/host/HdmiSound.h>
#include <oxa/jobs/ScenarioPlayer.h>
#include <vendor/oxa/audioutil/1.0/IAudioUtil.h>

#include "support/Test.h"

namespace oxa::jobs {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using vendor::oxa::audioutil::V1_0::IAudioUtil;

std::vector<std::string> textsOf(const Scenario& scenario) {
    std::vector<std::string> texts;
    for (const ScenarioStep& step : scenario)
        texts.push_back(std::to_string(step.timeUs / 1000) + " " + scenarioText(step));
    return texts;
}

TEST(Scenario, isLinesInAnyOrder) {
    Scenario scenario;
    const auto failure = parseScenario(
            "# television\r\n\n"
            "8s plug\n5 unplug # early\n\t1:02.5   size  1280x720  \n12 size 4k\n"
            "13s rate 25\n14s interlaced\n14 progressive\n15s lose-sound\n16s restore-sound\n"
            "17s sample-rate 44100\n18s channels 1\n19s driver missing\n19s driver wrong\n"
            "19s driver ok\n20s service slow 500ms\n21s service slow 1.5s\n22s kill-service\n"
            "1m stall\n1h resume\n25s start-service",
            "x", &scenario);
    ASSERT_FALSE(failure) << failure->text;
    EXPECT_THAT(textsOf(scenario),
                ElementsAre("5000 unplug", "8000 plug", "12000 size 3840x2160", "13000 rate 25",
                            "14000 interlaced", "14000 progressive", "15000 lose-sound",
                            "16000 restore-sound", "17000 sample-rate 44100", "18000 channels 1",
                            "19000 driver missing", "19000 driver wrong", "19000 driver ok",
                            "20000 service slow 500ms", "21000 service slow 1500ms",
                            "22000 kill-service", "25000 start-service", "60000 stall",
                            "62500 size 1280x720", "3600000 resume"));
}

TEST(Scenario, wrongLinesAreNamedWithTheirNumbers) {
    const std::pair<const char*, const char*> kWrong[] = {
            {"soon unplug", "line 1: 'soon' is no time"},
            {"unplug", "line 1: 'unplug' is no time"},
            {"-1s unplug", "line 1: '-1s' is no time"},
            {"1s", "line 1: nothing happens"},
            {"\n#\n1s # unplug", "line 3: nothing happens"},
            {"1s plugg", "line 1: there is no event 'plugg'"},
            {"1s Plug", "line 1: there is no event 'Plug'"},
            {"1s driver", "line 1: there is no event 'driver'"},
            {"1s driver gone", "line 1: there is no event 'driver gone'"},
            {"1s unplug now", "line 1: 'now' is spare"},
            {"1s size", "line 1: size '': expected WxH"},
            {"1s size 1280x721", "line 1: size '1280x721': expected WxH"},
            {"1s size 1280x720 720p", "line 1: '720p' is spare"},
            {"1s rate 0", "line 1: rate '0': expected a whole number from 1 to 120"},
            {"1s sample-rate 48k", "line 1: sample-rate '48k'"},
            {"1s channels 9", "line 1: channels '9'"},
            {"1s service slow 61s", "line 1: service slow '61s'"},
            {"1s service slow ms", "line 1: service slow 'ms'"},
            {"1s plug\n2s\n3s plug\n4s plugg", "line 2: nothing happens; line 4: there is no"}};
    for (const auto& [text, cause] : kWrong) {
        SCOPED_TRACE(text);
        Scenario scenario;
        const auto failure = parseScenario(text, "a.txt", &scenario);
        ASSERT_TRUE(failure);
        EXPECT_EQ(failure->kind, FailureKind::kOptions);
        EXPECT_THAT(failure->text, HasSubstr("scenario 'a.txt', " + std::string(cause)));
        EXPECT_EQ(failure->text.find('\n'), std::string::npos);
    }
}

// In one's own program, with a receiver of its own.
TEST(ScenarioPlayer, makesEverythingHappenInOrderAndLeavesTheServiceAsItWas) {
    const test::TempDir root;
    host::HdmiReceiverOptions options;
    options.deviceRoot = root.path();
    options.width = 320;
    options.height = 180;
    std::string error;
    const auto receiver = host::SimulatedHdmiReceiver::create(options, &error);
    ASSERT_NE(receiver, nullptr) << error;
    const std::string info =
            root.file("sys/devices/virtual/video4linux/video250/hdmirx_video_info");
    Scenario scenario;
    ASSERT_FALSE(
            parseScenario("0 size 640x360\n0 rate 25\n0.05 interlaced\n0.1 kill-service\n"
                          "1h unplug",
                          "x", &scenario));
    std::mutex lock;
    std::vector<std::string> told;
    {
        ScenarioPlayer player(scenario, [&](const ScenarioStep& step) {
            const std::lock_guard<std::mutex> hold(lock);
            told.push_back(scenarioText(step));
        });
        player.begin(*receiver);
        player.begin(*receiver);
        EXPECT_TRUE(test::waitFor([&] {
            const std::lock_guard<std::mutex> hold(lock);
            return told.size() == 4;
        }));
    }
    EXPECT_NE(IAudioUtil::getService("default", false), nullptr);
    EXPECT_THAT(told, ElementsAre("size 640x360", "rate 25", "interlaced", "kill-service"));
    EXPECT_THAT(test::readFile(info),
                HasSubstr("Width:640\nHeight:360\nScanMode:Interlaced\nColor:YUV422\nFps:25\n"));
}

}  // namespace
}  // namespace oxa::jobs
