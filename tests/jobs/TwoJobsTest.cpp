// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/EncoderPreset.h>
#include <oxa/host/FaultListener.h>
#include <sched.h>

#include <future>

#include "jobs/JobKit.h"
#include "support/MediaProbe.h"

namespace oxa::jobs {
namespace {

using testing::ElementsAre;

// The threads of this process that are scheduled for throughput.
int64_t batchThreads() {
    const std::vector<std::string> threads = namesIn("/proc/self/task");
    return std::count_if(threads.begin(), threads.end(), [](const std::string& id) {
        return sched_getscheduler(std::stoi(id)) == SCHED_BATCH;
    });
}

// A job that took the other's damage, cancel, figures or preset for its own, or the sound service's
// end, which belongs to no job.
TEST(TwoJobs, areToldApartInAllThatTheyReport) {
    const test::TempDir folder;
    const std::string damaged =
            test::zeroRegion(test::mediaPath("flower_540p_h264_aac.mp4"), 0.4, 0.5);
    HearingListener damagedHears([] {
        host::Fault fault;
        fault.source = host::FaultSource::kSound;
        fault.ended = true;
        std::thread(host::reportFault, fault).join();
    });
    Transcode first(quickTranscode(damaged, folder.file("first.mp4")), &damagedHears);
    Job* second = nullptr;
    HearingListener cancelledHears([&second] { second->cancel(); });
    TranscodeOptions slow =
            quickTranscode(test::mediaPath("bunny_360p_aac51.ts"), folder.file("second.mp4"));
    slow.preset = "slow";
    Transcode cancelled(slow, &cancelledHears);
    second = &cancelled;

    auto run = std::async(std::launch::async, [&first] { return first.run(); });
    const Result cancelledResult = cancelled.run();
    const Result result = run.get();

    EXPECT_TRUE(result.ok()) << result.failure.text;
    EXPECT_GT(result.damaged, 0u);
    EXPECT_EQ(damagedHears.mDamage, result.damaged);
    EXPECT_FALSE(damagedHears.mWarnings.empty());
    EXPECT_THAT(result.files, ElementsAre(folder.file("first.mp4")));
    EXPECT_EQ(test::MediaProbe(folder.file("first.mp4")).video()->frameCount,
              result.total.pictures);

    EXPECT_EQ(cancelledResult.failure.kind, FailureKind::kCancelled);
    EXPECT_EQ(cancelledResult.damaged, 0u);
    EXPECT_THAT(cancelledHears.mWarnings, testing::IsEmpty());
    EXPECT_EQ(cancelledHears.mTracks.size(), 2u);
    EXPECT_EQ(host::encoderPreset(), "veryfast");
}

// Each has a camera and a microphone of its own.
TEST(TwoJobs, recordTwoCamerasAtOnce) {
    const test::TempDir folder;
    std::vector<std::future<Result>> runs;
    std::vector<std::unique_ptr<Job>> jobs;
    for (const int side : {160, 320}) {
        RecordOptions options = quickRecord(folder.file(std::to_string(side) + ".mp4"));
        options.source.name = "lavfi:testsrc2=size=" + std::to_string(side) + "x120:rate=30;sine";
        options.durationUs = 1'000'000;
        jobs.push_back(std::make_unique<Record>(options));
        runs.push_back(
                std::async(std::launch::async, [job = jobs.back().get()] { return job->run(); }));
    }
    for (const int side : {160, 320}) {
        const Result result = runs[side / 320].get();
        EXPECT_TRUE(result.ok()) << result.failure.text;
        const test::MediaProbe probe(folder.file(std::to_string(side) + ".mp4"));
        ASSERT_NE(probe.video(), nullptr) << probe.error();
        EXPECT_EQ(probe.video()->width, side);
        EXPECT_NE(probe.audio(), nullptr);
    }
}

// A picture that is waited for must not stand behind a film.
TEST(TwoJobs, areScheduledForThroughputOnlyWhileTheyTranscode) {
    const test::TempDir folder;
    int64_t whileMoving = 0;
    HearingListener hears([&whileMoving] { whileMoving = std::max(whileMoving, batchThreads()); });
    Transcode job(quickTranscode(test::mediaPath("flower_540p_h264_aac.mp4"), folder.file("1.mp4")),
                  &hears);
    EXPECT_EQ(batchThreads(), 0);
    const Result result = job.run();
    EXPECT_TRUE(result.ok()) << result.failure.text;
    EXPECT_EQ(batchThreads(), 0);
    EXPECT_GE(whileMoving, 4) << "reading, decoding, encoding, and who called";
}

// There is one receiver; who has it keeps it.
TEST(TwoJobs, areRefusedTheReceiverThatOneHas) {
    const test::TempDir folder;
    RecordOptions options = quickRecord(folder.file("first.mp4"));
    options.source.kind = LiveSource::Kind::kHdmi;
    std::promise<void> moved;
    bool told = false;
    HearingListener hears([&] {
        if (!std::exchange(told, true)) moved.set_value();
    });
    Record first(options, &hears);
    auto run = std::async(std::launch::async, [&first] { return first.run(); });
    moved.get_future().wait();
    options.output = folder.file("second.mp4");
    EXPECT_EQ(Record(options).run().failure.kind, FailureKind::kInput);
    EXPECT_TRUE(test::waitFor([&] { return test::fileSize(folder.file("first.mp4")) > 20'000; }));
    first.cancel();
    const Result result = run.get();
    EXPECT_TRUE(result.ok()) << result.failure.text;
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("first.mp4"));
}

}  // namespace
}  // namespace oxa::jobs
