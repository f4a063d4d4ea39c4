// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <oxa/host/Cameras.h>
#include <oxa/host/HdmiSound.h>
#include <oxa/host/Microphones.h>
#include <system/audio.h>
#include <unistd.h>

#include <cerrno>

#include "live/LiveJob.h"
#include "support/CodecShim.h"
#include "support/FaultLog.h"
#include "support/MediaProbe.h"
#include "support/Test.h"
#include "support/Watchdog.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double kBeforeS = 0.7;
constexpr double kAfterS = 0.5;
// Sound runs behind the picture by what is on its way.
constexpr double kSoundBeforeS = 0.4;
constexpr std::chrono::milliseconds kQuiet{300};
constexpr std::chrono::seconds kStopLimit{20};
constexpr std::chrono::seconds kFewSeconds{5};

struct FaultCase : Named {
    bool hdmi, pictureEnds;
    void (*strike)(LiveJob* job);
};

const FaultCase kFaults[] = {
        {"HdmiUnplugged", true, true, [](LiveJob* job) { job->receiver()->unplug(); }},
        {"HdmiStalled", true, true, [](LiveJob* job) { job->receiver()->stall(); }},
        {"HdmiSoundLost", true, false, [](LiveJob* job) { job->receiver()->loseAudio(); }},
        {"HdmiSoundServiceEnded", true, false, [](LiveJob*) { host::endHdmiSoundService(); }},
        {"UsbUnplugged", false, true, [](LiveJob*) { host::loseCamera(0, true); }},
        {"UsbStalled", false, true, [](LiveJob*) { host::stallCamera(0, true); }},
        {"UsbMicrophoneLost", false, false,
         [](LiveJob*) { host::loseMicrophone(AUDIO_SOURCE_DEFAULT, true); }},
        {"UsbMicrophoneStalled", false, false,
         [](LiveJob*) { host::stallMicrophone(AUDIO_SOURCE_DEFAULT, true); }},
};

void stopInTime(LiveJob* job) {
    const Watchdog watchdog("stopping after a fault", kStopLimit);
    const Clock::time_point begin = Clock::now();
    job->stop();
    EXPECT_LT(Clock::now() - begin, kFewSeconds);
    job->cleanUp();
}

// The last picture has come out of the encoder.
void waitForSilence(LiveJob* job) {
    double last = -1;
    Clock::time_point since = Clock::now();
    ASSERT_TRUE(waitFor([&] {
        const double now = job->recordedSeconds();
        if (now != last) since = Clock::now();
        last = now;
        return Clock::now() - since > kQuiet;
    })) << "pictures still come";
}

class LiveFaultTest : public testing::TestWithParam<FaultCase> {
  protected:
    ~LiveFaultTest() override { host::startHdmiSoundService(); }
    const TempDir mFolder;
};

TEST_P(LiveFaultTest, whatWasRecordedBeforeIsKept) {
    LiveOptions live = sourceOf(GetParam().hdmi);
    live.output = mFolder.file("out.mp4");
    {
        LiveJob job(live);
        ASSERT_NO_FATAL_FAILURE(job.start());
        ASSERT_NO_FATAL_FAILURE(job.setRecording(true));
        ASSERT_NO_FATAL_FAILURE(job.waitForRecorded(kBeforeS));
        GetParam().strike(&job);
        if (GetParam().pictureEnds) {
            ASSERT_NO_FATAL_FAILURE(waitForSilence(&job));
        } else {
            ASSERT_NO_FATAL_FAILURE(job.waitForRecorded(kBeforeS + kAfterS));
        }
        stopInTime(&job);
    }
    const MediaProbe probe(live.output);
    ASSERT_TRUE(probe.ok()) << probe.error();
    EXPECT_EQ(complaintsAbout(live.output), "");
    ASSERT_NE(probe.video(), nullptr);
    ASSERT_NE(probe.audio(), nullptr);
    EXPECT_GE(probe.video()->durationUs(),
              (kBeforeS + (GetParam().pictureEnds ? 0 : kAfterS)) * 1e6);
    EXPECT_GE(probe.audio()->durationUs(), kSoundBeforeS * 1e6);
    EXPECT_EQ(probe.video()->decodeErrors, 0);
    EXPECT_EQ(probe.audio()->decodeErrors, 0);
}

INSTANTIATE_TEST_SUITE_P(Faults, LiveFaultTest, testing::ValuesIn(kFaults), rowName<FaultCase>);

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
