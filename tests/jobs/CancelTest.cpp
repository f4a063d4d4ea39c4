// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <filesystem>
#include <future>
#include <random>

#include "jobs/JobKit.h"
#include "support/MediaProbe.h"

namespace oxa::jobs {
namespace {

using testing::AnyOf;
using testing::SizeIs;

constexpr int kRounds = 24;
constexpr unsigned kLatestMs = 600;
constexpr char kOld[] = "old";

// Runs a job that is cancelled from another thread some time after it began.
Result runCancelled(Job* job, std::chrono::milliseconds delay) {
    auto canceller = std::async(std::launch::async, [job, delay] {
        std::this_thread::sleep_for(delay);
        job->cancel();
    });
    const Result result = job->run();
    canceller.wait();
    return result;
}

// Whatever is left has a name in the result, and is whole.
void expectWhole(const Result& result, const std::string& folder) {
    EXPECT_THAT(namesIn(folder), SizeIs(result.files.size()));
    for (const std::string& file : result.files) {
        ASSERT_TRUE(std::filesystem::exists(file)) << file;
        const test::MediaProbe probe(file);
        EXPECT_TRUE(probe.ok()) << probe.error();
    }
}

TEST(Cancel, atAnyMomentLeavesAWholeFileOrNone) {
    std::mt19937 random(7);
    for (int round = 0; round < kRounds; ++round) {
        const JobKind kind = kAllKinds[round % std::size(kAllKinds)];
        const std::chrono::milliseconds delay(random() % kLatestMs);
        SCOPED_TRACE(std::to_string(static_cast<int>(kind)) + " after " +
                     std::to_string(delay.count()) + " ms");
        const test::TempDir folder;
        const bool isLive = kind == JobKind::kRecord;
        const auto job =
                makeJob(kind, isLive ? "" : test::mediaPath("bunny_360p_aac51.ts"),
                        folder.file(kind == JobKind::kContactSheet ? "out.png" : "out.mp4"));
        const Result result = runCancelled(job.get(), delay);
        EXPECT_THAT(result.failure.kind, AnyOf(FailureKind::kNone, FailureKind::kCancelled))
                << result.failure.text;
        if (kind == JobKind::kContactSheet && result.ok()) continue;
        expectWhole(result, folder.path());
    }
}

// Before anything can have been written.
TEST(Cancel, atTheStartLeavesAWholeFileOrNone) {
    const test::TempDir folder;
    struct Canceller : JobListener {
        void onStart(const JobStart&) override { job->cancel(); }
        Job* job = nullptr;
    } canceller;
    Transcode job(quickTranscode(test::mediaPath("bunny_360p_aac51.ts"), folder.file("out.mp4")),
                  &canceller);
    canceller.job = &job;
    const Result result = job.run();
    EXPECT_EQ(result.failure.kind, FailureKind::kCancelled);
    expectWhole(result, folder.path());
}

// A file that was there is replaced by a complete one, or not at all.
TEST(Cancel, leavesTheFileThatWasToBeReplaced) {
    std::mt19937 random(8);
    for (int round = 0; round < kRounds / 2; ++round) {
        const test::TempDir folder;
        const std::string output = folder.file("out.mp4");
        ASSERT_TRUE(test::writeFile(output, kOld));
        const auto job = makeJob(JobKind::kTranscode, test::mediaPath("bunny_360p_aac51.ts"),
                                 output, /* replaceOutput */ true);
        const Result result =
                runCancelled(job.get(), std::chrono::milliseconds(random() % kLatestMs));
        EXPECT_EQ(test::readFile(output) != kOld, result.ok()) << result.failure.text;
        if (!result.ok()) {
            EXPECT_EQ(result.failure.kind, FailureKind::kCancelled);
            EXPECT_THAT(namesIn(folder.path()), SizeIs(1 + result.files.size()));
        }
    }
}

TEST(Cancel, beforeTheRunAndTwiceAreHarmless) {
    const test::TempDir folder;
    for (const JobKind kind : kAllKinds) {
        const std::string input = kind == JobKind::kRecord ? "" : test::testClip();
        const auto job = makeJob(kind, input, folder.file("out.mp4"));
        job->cancel();
        job->cancel();
        EXPECT_EQ(job->run().failure.kind, FailureKind::kCancelled);
        EXPECT_EQ(job->run().failure.kind, FailureKind::kOptions) << "a job runs once";
    }
    EXPECT_THAT(namesIn(folder.path()), testing::IsEmpty());
}

// A program that runs jobs for weeks.
TEST(Cancel, leavesNoDescriptorAndNoThread) {
    std::mt19937 random(9);
    const test::TempDir folder;
    const auto cancelAll = [&](int number) {
        for (const JobKind kind : kAllKinds) {
            const std::string name =
                    std::to_string(number) + std::to_string(static_cast<int>(kind));
            const auto job = makeJob(
                    kind, kind == JobKind::kRecord ? "" : test::mediaPath("bunny_360p_aac51.ts"),
                    folder.file(name));
            const Result result =
                    runCancelled(job.get(), std::chrono::milliseconds(random() % kLatestMs));
            EXPECT_THAT(result.failure.kind, AnyOf(FailureKind::kNone, FailureKind::kCancelled))
                    << result.failure.text;
        }
    };
    const char* rounds = getenv("OXA_CANCEL_ROUNDS");
    cancelAll(0);
    // What is made once stays: modules, the sound service.
    cancelAll(1);
    const int descriptors = entriesOf("/proc/self/fd");
    const int threads = entriesOf("/proc/self/task");
    for (int round = 0; round < (rounds != nullptr ? atoi(rounds) : 3); ++round)
        cancelAll(2 + round);
    EXPECT_EQ(entriesOf("/proc/self/fd"), descriptors);
    // A thread that was joined is gone from there a moment later.
    EXPECT_TRUE(test::waitFor([threads] { return entriesOf("/proc/self/task") <= threads; }));
}

}  // namespace
}  // namespace oxa::jobs
