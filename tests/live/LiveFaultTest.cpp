// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "live/LiveJob.h"
#include "support/CodecShim.h"
#include "support/FaultLog.h"
#include "support/Watchdog.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double kBeforeS = 0.7;
constexpr std::chrono::seconds kStopLimit{20};
constexpr std::chrono::seconds kFewSeconds{5};

void stopInTime(LiveJob* job) {
    const Watchdog watchdog("stopping after a fault", kStopLimit);
    const Clock::time_point begin = Clock::now();
    job->stop();
    EXPECT_LT(Clock::now() - begin, kFewSeconds);
    job->cleanUp();
}

// Fails once in the life of this process.
using namespace android;

class OnceFailingEncoder : public CodecShim {
  public:
    using CodecShim::CodecShim;
    static inline std::atomic<bool> sFailed{false};

  private:
    void onOutput(const CodecOutput& output) override {
        if (++mResults != kFailingResult || sFailed.exchange(true))
            return CodecShim::onOutput(output);
        onError(UNKNOWN_ERROR, ACTION_CODE_FATAL);
    }

    static constexpr int kFailingResult = 10;
    int mResults = 0;
};

TEST(EncoderFaultTest, isOverWhenItIsSwitchedOffAndTheNextRecordingIsWhole) {
    installShim<OnceFailingEncoder>("video/avc", CodecDirection::kEncoder);
    LiveJob job(sourceOf(false));
    ASSERT_NO_FATAL_FAILURE(job.start());
    ASSERT_NO_FATAL_FAILURE(job.setRecording(true));
    ASSERT_TRUE(waitFor([] { return OnceFailingEncoder::sFailed.load(); }));
    ASSERT_NO_FATAL_FAILURE(job.setRecording(false));
    ASSERT_NO_FATAL_FAILURE(job.setRecording(true));
    ASSERT_TRUE(waitFor([&] { return job.defaultRecordings().size() == 2; })) << "it never ended";
    ASSERT_NO_FATAL_FAILURE(job.waitForRecorded(kBeforeS));
    stopInTime(&job);
    for (const std::string& file : job.defaultRecordings()) {
        const MediaProbe probe(file);
        EXPECT_TRUE(probe.ok()) << probe.error();
        EXPECT_EQ(complaintsAbout(file), "");
    }
}

// Takes a few pictures and then none, once in the life of this process.
class StuckEncoder : public CodecShim {
  public:
    using CodecShim::CodecShim;
    static inline std::atomic<bool> sIsStuck{true};

  private:
    void onInputConsumed(size_t index) override {
        if (++mInputs < kLastInput || !sIsStuck) CodecShim::onInputConsumed(index);
    }

    static constexpr int kLastInput = 20;
    int mInputs = 0;
};

// The camera waits for all that it gave, and the most of it is in the library's queue.
TEST(StuckEncoderTest, doesNotKeepTheCameraFromItsEnd) {
    installShim<StuckEncoder>("video/avc", CodecDirection::kEncoder);
    LiveJob job(sourceOf(false));
    ASSERT_NO_FATAL_FAILURE(job.start());
    ASSERT_NO_FATAL_FAILURE(job.setRecording(true));
    const bool isStuck = waitFor([&] { return job.lostPictures() > 0; });
    stopInTime(&job);
    StuckEncoder::sIsStuck = false;
    EXPECT_TRUE(isStuck);
}

TEST(FullDiskTest, theClientIsToldAndThePreviewGoesOn) {
    const int full = open("/dev/full", O_RDWR | O_CLOEXEC);
    ASSERT_GE(full, 0);
    const FaultLog faults;
    {
        LiveOptions live;
        live.outputDescriptor = full;
        LiveJob job(live);
        ASSERT_NO_FATAL_FAILURE(job.start());
        ASSERT_NO_FATAL_FAILURE(job.setRecording(true));
        const auto isTold = [&] {
            const auto all = faults.faults();
            return std::any_of(all.begin(), all.end(), [](const host::Fault& fault) {
                return fault.source == host::FaultSource::kWriter && fault.error == ENOSPC;
            });
        };
        EXPECT_TRUE(waitFor(isTold));
        const uint64_t shown = job.display().figures().shown;
        EXPECT_TRUE(waitFor([&] { return job.display().figures().shown > shown + 5; }));
        stopInTime(&job);
    }
    close(full);
}

}  // namespace
}  // namespace oxa::test
