// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <oxa/host/Cameras.h>
#include <oxa/jobs/Record.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "support/Deadline.h"
#include "support/MediaProbe.h"
#include "support/Named.h"
#include "support/TempDir.h"

namespace oxa::jobs {
namespace {

using test::waitFor;
using testing::SizeIs;

constexpr char kPictureAndSound[] = "lavfi:testsrc2=size=320x180:rate=30;sine=sample_rate=48000";
constexpr int kRounds = 2;
constexpr int64_t kReplayUs = 1'000'000;
constexpr int64_t kSomeBytes = 20'000;

// What a recording has said so far.
class SwitchLog : public JobListener {
  public:
    void onProgress(const Progress& progress) override {
        mBytes = progress.bytes.value_or(0);
        mElapsedSec = progress.elapsedSec;
        mStandsBy = progress.standsBy;
    }
    void onFile(const std::string&) override { ++mFiles; }
    void onReconnect() override {
        ++mReconnects;
        std::this_thread::sleep_until(mGoesOnAt);
    }
    void onSwitch(bool on) override { mSwitches += on ? 1 : -1; }

    std::atomic<int64_t> mBytes{0};
    std::atomic<double> mElapsedSec{0};
    std::atomic<bool> mStandsBy{false};
    std::atomic<int> mFiles{0};
    std::atomic<int> mSwitches{0};
    std::atomic<int> mReconnects{0};
    std::chrono::steady_clock::time_point mGoesOnAt;
};

struct SwitchCase : test::Named {
    LiveSource::Kind kind;
    bool isReplay;
    const char* file;
};

class RecordSwitch : public testing::TestWithParam<SwitchCase> {};

// Would catch a recording that does not go on in a new file, one that is lost or not whole when it
// is switched off, a count that is not what was written, and a replay without what was before.
TEST_P(RecordSwitch, eachTimeOnIsAWholeFile) {
    const SwitchCase& test = GetParam();
    const test::TempDir folder;
    RecordOptions options;
    options.source.kind = test.kind;
    options.source.name = kPictureAndSound;
    options.output = folder.file(test.file);
    options.preset = "ultrafast";
    options.standby = !test.isReplay;
    if (test.isReplay) options.replayUs = kReplayUs;
    SwitchLog log;
    Record job(options, &log);
    auto run = std::async(std::launch::async, [&job] { return job.run(); });
    for (int i = 1; i <= kRounds; ++i) {
        const double sinceSec = log.mElapsedSec;
        EXPECT_TRUE(waitFor([&] { return log.mElapsedSec > sinceSec + 1.5; }));
        EXPECT_TRUE(log.mStandsBy);
        const int64_t before = log.mBytes;
        job.switchRecording();
        EXPECT_TRUE(waitFor([&] { return log.mBytes > before + kSomeBytes; }));
        EXPECT_EQ(log.mSwitches, 1);
        job.switchRecording();
        EXPECT_TRUE(waitFor([&] { return log.mFiles == i; }));
        EXPECT_EQ(log.mSwitches, 0);
    }
    job.cancel();
    const Result result = run.get();
    EXPECT_TRUE(result.ok()) << result.failure.text;
    ASSERT_THAT(result.files, SizeIs(kRounds));
    int64_t pictures = 0;
    for (const std::string& file : result.files) {
        SCOPED_TRACE(file);
        const test::MediaProbe probe(file);
        ASSERT_TRUE(probe.ok()) << probe.error();
        ASSERT_NE(probe.video(), nullptr);
        ASSERT_NE(probe.audio(), nullptr);
        EXPECT_EQ(probe.video()->decodeErrors, 0);
        EXPECT_NEAR(probe.video()->timesUs.front(), probe.audio()->timesUs.front(), 100'000);
        pictures += probe.video()->frameCount;
        if (test.isReplay) {
            EXPECT_GE(probe.video()->frameCount, 30);
        }
    }
    EXPECT_EQ(result.total.pictures, pictures);
}

INSTANTIATE_TEST_SUITE_P(
        Sources, RecordSwitch,
        testing::Values(SwitchCase{{"usb"}, LiveSource::Kind::kCamera, false, "a.mp4"},
                        SwitchCase{{"hdmi"}, LiveSource::Kind::kHdmi, false, "a.ts"},
                        SwitchCase{{"usbReplay"}, LiveSource::Kind::kCamera, true, "a.ts"},
                        SwitchCase{{"hdmiReplay"}, LiveSource::Kind::kHdmi, true, "a.mp4"}),
        test::rowName<SwitchCase>);

// Would catch a duration that is counted from the switch on, or twice what was split.
TEST(RecordReplay, aDurationIsThatOfAllFilesWithWhatWasKept) {
    const test::TempDir folder;
    RecordOptions options;
    options.source = {LiveSource::Kind::kCamera, kPictureAndSound, {}};
    options.output = folder.file("a.mp4");
    options.preset = "ultrafast";
    options.replayUs = kReplayUs;
    options.splitUs = 1'000'000;
    options.durationUs = 4'000'000;
    SwitchLog log;
    Record job(options, &log);
    auto run = std::async(std::launch::async, [&job] { return job.run(); });
    EXPECT_TRUE(waitFor([&] { return log.mElapsedSec > 2.5; }));
    job.switchRecording();
    const Result result = run.get();
    EXPECT_TRUE(result.ok()) << result.failure.text;
    EXPECT_GE(result.files.size(), 2u);
    EXPECT_NEAR(result.durationSec, 4, 0.1) << "each file ends with a whole unit of sound";
    EXPECT_LE(result.total.pictures, 121);
    double soundSec = 0;
    for (const std::string& file : result.files) {
        const test::MediaProbe probe(file);
        ASSERT_NE(probe.audio(), nullptr) << probe.error();
        soundSec += probe.audio()->frameCount / 48'000.0;
    }
    EXPECT_NEAR(soundSec, 4, 0.1);
}

struct LossCase : test::Named {
    LiveSource source;
    Scenario scenario;
    void (*lose)(bool lost);  // null: the scenario does it
    int seconds = 3;
};

class RecordReconnect : public testing::TestWithParam<LossCase> {};

// Would catch a file that is not finished with its source, a recording that ends with it or begins
// before all is back, and a length that is counted from the last loss only. A scenario leaves a
// busy machine seconds to begin with each file.
TEST_P(RecordReconnect, goesOnInANewFileWhenAllIsBack) {
    const LossCase& test = GetParam();
    const test::TempDir folder;
    RecordOptions options;
    options.source = test.source;
    options.scenario = test.scenario;
    options.output = folder.file("out.mp4");
    options.preset = "ultrafast";
    options.durationUs = test.seconds * 1'000'000;
    options.reconnect = true;
    SwitchLog log;
    Record job(options, &log);
    auto run = std::async(std::launch::async, [&job] { return job.run(); });
    if (test.lose != nullptr) {
        EXPECT_TRUE(waitFor([&] { return log.mBytes > kSomeBytes; }));
        test.lose(true);
        EXPECT_TRUE(waitFor([&] { return log.mFiles == 1; }));
        test.lose(false);
    }
    const Result result = run.get();
    EXPECT_TRUE(result.ok()) << result.failure.text;
    const size_t losses = test.lose != nullptr ? 1 : test.scenario.size() / 2;
    EXPECT_GE(log.mReconnects, static_cast<int>(losses));
    EXPECT_EQ(result.files.size(), losses + 1);
    int64_t pictures = 0;
    for (const std::string& file : result.files) {
        const test::MediaProbe probe(file);
        ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
        EXPECT_EQ(probe.video()->decodeErrors, 0);
        pictures += probe.video()->frameCount;
    }
    EXPECT_EQ(result.total.pictures, pictures);
    EXPECT_NEAR(result.durationSec, test.seconds, 0.1);
}

ScenarioStep step(int64_t timeMs, ScenarioStep::Kind kind) {
    ScenarioStep step;
    step.timeUs = timeMs * 1000;
    step.kind = kind;
    return step;
}

INSTANTIATE_TEST_SUITE_P(Losses, RecordReconnect,
                         testing::Values(LossCase{{"receiver"},
                                                  {LiveSource::Kind::kHdmi, kPictureAndSound, {}},
                                                  {step(3000, ScenarioStep::Kind::kUnplug),
                                                   step(4000, ScenarioStep::Kind::kPlug),
                                                   step(8000, ScenarioStep::Kind::kKillService),
                                                   step(9000, ScenarioStep::Kind::kStartService)},
                                                  nullptr,
                                                  8},
                                         // Told when nothing has come for 3 s.
                                         LossCase{{"silentReceiver"},
                                                  {LiveSource::Kind::kHdmi, kPictureAndSound, {}},
                                                  {step(3000, ScenarioStep::Kind::kLoseSound),
                                                   step(7500, ScenarioStep::Kind::kRestoreSound),
                                                   step(11000, ScenarioStep::Kind::kStall),
                                                   step(17000, ScenarioStep::Kind::kResume)},
                                                  nullptr,
                                                  11},
                                         LossCase{{"camera"},
                                                  {LiveSource::Kind::kCamera, kPictureAndSound, {}},
                                                  {},
                                                  [](bool lost) { host::loseCamera(0, lost); }}),
                         test::rowName<LossCase>);

// As with a computer that is too busy to begin before the plug is pulled again.
TEST(RecordScenario, aReceiverThatIsUnpluggedBeforeTheStartIsAwaited) {
    const test::TempDir folder;
    RecordOptions options;
    options.source = {LiveSource::Kind::kHdmi, kPictureAndSound, {}};
    options.scenario = {
            step(500, ScenarioStep::Kind::kUnplug), step(1000, ScenarioStep::Kind::kPlug),
            step(3000, ScenarioStep::Kind::kUnplug), step(6000, ScenarioStep::Kind::kPlug)};
    options.output = folder.file("out.mp4");
    options.preset = "ultrafast";
    options.durationUs = 1'500'000;
    options.reconnect = true;
    SwitchLog log;
    log.mGoesOnAt = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    const Result result = Record(options, &log).run();
    EXPECT_TRUE(result.ok()) << result.failure.text;
    EXPECT_NEAR(result.durationSec, 1.5, 0.1);
}

// Whoever stands by for nothing has lost nothing.
TEST(RecordStandby, withoutAFileIsNoFailure) {
    const test::TempDir folder;
    RecordOptions options;
    options.source.name = "lavfi:testsrc2=size=320x180:rate=30";
    options.output = folder.file("never-%F.mp4");
    options.standby = true;
    SwitchLog log;
    Record job(options, &log);
    auto run = std::async(std::launch::async, [&job] { return job.run(); });
    EXPECT_TRUE(waitFor([&] { return log.mStandsBy.load(); }));
    job.cancel();
    const Result result = run.get();
    EXPECT_TRUE(result.ok()) << result.failure.text;
    EXPECT_THAT(result.files, SizeIs(0));
}

}  // namespace
}  // namespace oxa::jobs
