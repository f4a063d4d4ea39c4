// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/Cameras.h>

#include <filesystem>
#include <future>

#include "jobs/JobKit.h"
#include "support/MediaProbe.h"

namespace oxa::jobs {
namespace {

using test::waitFor;
using testing::SizeIs;

constexpr char kPicture[] = "lavfi:testsrc2=size=320x180:rate=30";
constexpr char kPictureAndSound[] = "lavfi:testsrc2=size=320x180:rate=30;sine=sample_rate=48000";
constexpr auto kHdmi = LiveSource::Kind::kHdmi;
constexpr auto kCamera = LiveSource::Kind::kCamera;
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
    void onWarning(const std::string& text) override {
        if (text.find(" instead of ") != std::string::npos) ++mRateWarnings;
    }

    std::atomic<int64_t> mBytes{0};
    std::atomic<double> mElapsedSec{0};
    std::atomic<bool> mStandsBy{false};
    std::atomic<int> mFiles{0};
    std::atomic<int> mSwitches{0};
    std::atomic<int> mReconnects{0};
    std::atomic<int> mRateWarnings{0};
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
    RecordOptions options = quickRecord(folder.file(test.file), {test.kind, kPictureAndSound, {}});
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
        ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
        EXPECT_EQ(probe.video()->decodeErrors, 0);
        EXPECT_NEAR(probe.video()->timesUs.front(), probe.audio()->timesUs.front(), 100'000);
        pictures += probe.video()->frameCount;
        if (test.isReplay) {
            EXPECT_GE(probe.video()->frameCount, 30);
        }
    }
    EXPECT_EQ(result.total.pictures, pictures);
}

const SwitchCase kSources[] = {{{"usb"}, kCamera, false, "a.mp4"},
                               {{"hdmi"}, kHdmi, false, "a.ts"},
                               {{"usbReplay"}, kCamera, true, "a.ts"},
                               {{"hdmiReplay"}, kHdmi, true, "a.mp4"}};
INSTANTIATE_TEST_SUITE_P(Sources, RecordSwitch, testing::ValuesIn(kSources),
                         test::rowName<SwitchCase>);

// Would catch a duration that is counted from the switch on, or twice what was split.
TEST(RecordReplay, aDurationIsThatOfAllFilesWithWhatWasKept) {
    const test::TempDir folder;
    RecordOptions options = quickRecord(folder.file("a.mp4"), {kCamera, kPictureAndSound, {}});
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
    LiveSource::Kind kind;
    const char* scenario;  // empty: the camera is lost
    int losses;
    int seconds;
    const char* source = kPictureAndSound;
    std::optional<std::string> sound = {};
};

Scenario parsed(const char* text) {
    Scenario scenario;
    const auto failure = parseScenario(text, "", &scenario);
    EXPECT_FALSE(failure) << failure->text;
    return scenario;
}

class RecordReconnect : public testing::TestWithParam<LossCase> {};

// Would catch a file that is not finished with its source, a recording that ends with it or begins
// before all is back, and a length that is counted from the last loss only. A scenario leaves a
// busy machine seconds to begin with each file.
TEST_P(RecordReconnect, goesOnInANewFileWhenAllIsBack) {
    const LossCase& test = GetParam();
    const test::TempDir folder;
    RecordOptions options =
            quickRecord(folder.file("out.mp4"), {test.kind, test.source, test.sound});
    // A rate that the receiver does not have, which is told once.
    if (test.kind == kHdmi) options.frameRate = 20;
    options.scenario = parsed(test.scenario);
    options.durationUs = test.seconds * 1'000'000;
    options.reconnect = true;
    SwitchLog log;
    Record job(options, &log);
    auto run = std::async(std::launch::async, [&job] { return job.run(); });
    if (options.scenario.empty()) {
        EXPECT_TRUE(waitFor([&] { return log.mBytes > kSomeBytes; }));
        host::loseCamera(0, true);
        EXPECT_TRUE(waitFor([&] { return log.mFiles == 1; }));
        host::loseCamera(0, false);
    }
    const Result result = run.get();
    EXPECT_TRUE(result.ok()) << result.failure.text;
    EXPECT_GE(log.mReconnects, test.losses);
    EXPECT_EQ(log.mRateWarnings, test.kind == kHdmi ? 1 : 0);
    EXPECT_THAT(result.files, SizeIs(test.losses + 1));
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

const LossCase kLosses[] = {
        {{"receiver"}, kHdmi, "3 unplug\n4 plug\n8 kill-service\n9 start-service", 2, 8},
        // Told when nothing has come for 3 s.
        {{"silentReceiver"}, kHdmi, "3 lose-sound\n7.5 restore-sound\n11 stall\n17 resume", 2, 11},
        {{"otherSound"}, kHdmi, "3 lose-sound\n7.5 restore-sound", 1, 9, kPicture, "lavfi:sine"},
        {{"camera"}, kCamera, "", 1, 3}};
INSTANTIATE_TEST_SUITE_P(Losses, RecordReconnect, testing::ValuesIn(kLosses),
                         test::rowName<LossCase>);

// Ends a recording whose source is lost: when its file ends, or later, while the source is awaited.
class EndingLog : public SwitchLog {
  public:
    explicit EndingLog(bool atFile) : mAtFile(atFile) {}
    void onFile(const std::string&) override { end(mAtFile); }
    void onScenario(const ScenarioStep& step) override {
        end(!mAtFile && step.kind == ScenarioStep::Kind::kStall);
    }
    Record* mJob = nullptr;

  private:
    void end(bool isTime) {
        if (!isTime) return;
        mJob->switchRecording();
        mJob->cancel();
    }

    const bool mAtFile;
};

TEST(RecordScenario, aReceiverThatIsUnpluggedIsAwaitedUntilItIsCancelled) {
    for (const bool atFile : {true, false}) {
        SCOPED_TRACE(atFile ? "when the file ends" : "later");
        const test::TempDir folder;
        RecordOptions options = quickRecord(folder.file("out.mp4"), {kHdmi, kPictureAndSound, {}});
        options.scenario = parsed("3 unplug\n5 stall");
        options.reconnect = true;
        EndingLog log(atFile);
        Record job(options, &log);
        log.mJob = &job;
        const Result result = job.run();
        EXPECT_TRUE(result.ok()) << result.failure.text;
        EXPECT_THAT(result.files, SizeIs(1));
        EXPECT_EQ(log.mReconnects, 0);
    }
}

// As with a computer that is too busy to begin before the plug is pulled again.
TEST(RecordScenario, aReceiverThatIsUnpluggedBeforeTheStartIsAwaited) {
    const test::TempDir folder;
    RecordOptions options = quickRecord(folder.file("out.mp4"), {kHdmi, kPictureAndSound, {}});
    options.scenario = parsed("0.5 unplug\n1 plug\n3 unplug\n6 plug");
    options.durationUs = 1'500'000;
    options.reconnect = true;
    SwitchLog log;
    log.mGoesOnAt = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    const Result result = Record(options, &log).run();
    EXPECT_TRUE(result.ok()) << result.failure.text;
    EXPECT_NEAR(result.durationSec, 1.5, 0.1);
}

// Whoever stands by for nothing, or for a place that has gone, has lost nothing.
TEST(RecordStandby, withoutAFileIsNoFailure) {
    const test::TempDir folder;
    std::filesystem::create_directory(folder.file("disk"));
    RecordOptions options = quickRecord(folder.file("disk/never-%F.mp4"));
    options.source.name = kPicture;
    options.standby = true;
    SwitchLog log;
    Record job(options, &log);
    auto run = std::async(std::launch::async, [&job] { return job.run(); });
    EXPECT_TRUE(waitFor([&] { return log.mStandsBy.load(); }));
    std::filesystem::remove(folder.file("disk"));
    job.switchRecording();
    EXPECT_TRUE(waitFor([&] { return log.mSwitches != 0; }));
    EXPECT_EQ(log.mSwitches, -1) << "it is told to be off";
    job.cancel();
    const Result result = run.get();
    EXPECT_TRUE(result.ok()) << result.failure.text;
    EXPECT_THAT(result.files, SizeIs(0));
}

}  // namespace
}  // namespace oxa::jobs
