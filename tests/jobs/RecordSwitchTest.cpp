// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <oxa/jobs/Record.h>

#include <atomic>
#include <future>

#include "support/Deadline.h"
#include "support/MediaProbe.h"
#include "support/Named.h"
#include "support/TempDir.h"

namespace oxa::jobs {
namespace {

using test::waitFor;
using testing::SizeIs;

constexpr int kRounds = 3;
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
    void onSwitch(bool on) override { mSwitches += on ? 1 : -1; }

    std::atomic<int64_t> mBytes{0};
    std::atomic<double> mElapsedSec{0};
    std::atomic<bool> mStandsBy{false};
    std::atomic<int> mFiles{0};
    std::atomic<int> mSwitches{0};
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
    options.source.name = "lavfi:testsrc2=size=320x180:rate=30;sine=sample_rate=48000";
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
