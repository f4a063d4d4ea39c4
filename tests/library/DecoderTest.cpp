// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <oxa/host/Display.h>
#include <oxa/host/SoundOutput.h>

#include <memory>
#include <string>
#include <vector>

#include "AudioDecoder.h"
#include "VideoDecoder.h"
#include "library/LogCapture.h"
#include "library/OwnLooper.h"
#include "library/Reports.h"
#include "library/Steps.h"
#include "support/Deadline.h"
#include "support/TestClips.h"

namespace android {
namespace {

using oxa::test::mediaPath;
using oxa::test::waitFor;

constexpr char kBothTracks[] = "friday_480p_audio_first.mp4";

template <typename Decoder>
class Job;

// What differs between the two decoders.
template <typename Decoder>
struct Kind;

template <>
struct Kind<VideoDecoder> {
    static constexpr char kTag[] = "VideoDecoder";
    static constexpr char kCheckedIn[] = "VideoDecoder.cpp:";
    static constexpr char kUnknownRequest[] = "VideoDecoder.cpp:167 Should not be here.";
    static constexpr char kFileWithoutTrack[] = "roar.mp3";
    static constexpr int32_t kNoTrack = NO_VIDEO_TRACK;
    static constexpr int32_t kEnd = EOSVideoReached;
    static std::vector<Step> steps(Job<VideoDecoder>* job);
};

template <>
struct Kind<AudioDecoder> {
    static constexpr char kTag[] = "AudioDecoder";
    static constexpr char kCheckedIn[] = "AudioDecoder.cpp:";
    static constexpr char kUnknownRequest[] = "AudioDecoder.cpp:144 Should not be here.";
    static constexpr char kFileWithoutTrack[] = "bunny_480p_hevc.mp4";
    static constexpr int32_t kNoTrack = NO_AUDIO_TRACK;
    static constexpr int32_t kEnd = EOSAudioReached;
    static std::vector<Step> steps(Job<AudioDecoder>* job);
};

// One decoder on a looper, with a display, silent sound and somebody to report to.
template <typename Decoder>
class Job {
  public:
    static constexpr const char* kCheckedIn = Kind<Decoder>::kCheckedIn;

    explicit Job(const char* clip = kBothTracks) : path(mediaPath(clip)) {
        oxa::host::useNullSound();
        decoder->mPlayerHandler = reports;
        decoder->mStatusHandler = reports;
    }
    ~Job() {
        decoder->reset();
        decoder->cleanup();
    }
    static std::vector<Step> steps(Job* job) { return Kind<Decoder>::steps(job); }
    static size_t startStep() { return steps(nullptr).size() - 2; }

    const sp<Decoder> decoder = new Decoder;
    const sp<Reports> reports = new Reports;
    const std::string path;
    const std::unique_ptr<oxa::host::RecordingDisplay> display =
            oxa::host::createRecordingDisplay();
    const sp<Surface> surface = new Surface(display->producer());

  private:
    const OwnLooper mLooper{decoder};
    const OwnLooper mReportLooper{reports};
};

std::vector<Step> Kind<VideoDecoder>::steps(Job<VideoDecoder>* job) {
    return {{[=] { return job->decoder->setDataSource(job->path.c_str()); },
             refusalOf("mState == UNINITIALIZED")},
            {[=] { return job->decoder->setSurface(job->surface); },
             refusalOf("mState == WAIT_SURFACE")},
            {[=] { return job->decoder->prepare(); }, refusalOf("mState == UNPREPARED")},
            {[=] { return job->decoder->start(); }, refusalOf("mState == PREPARED")},
            {[=] { return job->decoder->stop(); }, refusalOf("mState == STARTED")}};
}

std::vector<Step> Kind<AudioDecoder>::steps(Job<AudioDecoder>* job) {
    return {{[=] { return job->decoder->setDataSource(job->path.c_str()); },
             refusalOf("mState == UNINITIALIZED")},
            {[=] { return job->decoder->prepare(); }, refusalOf("mState == UNPREPARED")},
            {[=] { return job->decoder->start(ALooper::GetNowUs()); },
             refusalOf("mState == PREPARED")},
            {[=] { return job->decoder->stop(); }, refusalOf("mState == STARTED")}};
}

template <typename Decoder>
class DecoderTest : public ::testing::Test {};
template <typename Decoder>
class DecoderDeathTest : public ::testing::Test {};
using Decoders = ::testing::Types<VideoDecoder, AudioDecoder>;
TYPED_TEST_SUITE(DecoderTest, Decoders);
TYPED_TEST_SUITE(DecoderDeathTest, Decoders);

TYPED_TEST(DecoderDeathTest, OnlyTheNextStepIsAccepted) {
    expectOnlyTheNextStepIsAccepted<Job<TypeParam>>();
    EXPECT_DEATH(
            {
                Job<TypeParam> job;
                sp<AMessage> reply;
                (new AMessage(99, job.decoder))->postAndAwaitResponse(&reply);
            },
            testing::HasSubstr(Kind<TypeParam>::kUnknownRequest));
}

// A reset before the start keeps the prepared codec; one after it ends the object's use.
TYPED_TEST(DecoderTest, ResetBeforeTheStartChangesNothing) {
    for (size_t state = 0; state <= Job<TypeParam>::startStep(); ++state) {
        Job<TypeParam> job;
        advance(&job, state);
        EXPECT_EQ(job.decoder->reset(), OK) << "state " << state;
        EXPECT_EQ(take(&job, state), OK) << "state " << state;
    }
    for (size_t taken : {1, 2}) {
        LogCapture log;
        Job<TypeParam> job;
        advance(&job, job.startStep() + taken);
        EXPECT_EQ(job.decoder->reset(), OK);
        EXPECT_EQ(log.count(Kind<TypeParam>::kTag, "Decoder reset success"), 1);
        EXPECT_EQ(job.decoder->reset(), OK) << "again";
        EXPECT_EQ(log.count(Kind<TypeParam>::kTag, "Decoder reset success"), 1);
    }
}

TYPED_TEST(DecoderTest, SwitchesAreTakenInEveryState) {
    for (size_t state = 0; state <= Job<TypeParam>::steps(nullptr).size(); ++state) {
        Job<TypeParam> job;
        advance(&job, state);
        LogCapture log;
        EXPECT_EQ(job.decoder->setFreeRun(1), OK) << "state " << state;
        EXPECT_EQ(job.decoder->setFreeRun(0), OK) << "state " << state;
        EXPECT_TRUE(log.contains(Kind<TypeParam>::kTag, "enable FreeRun"));
        EXPECT_TRUE(log.contains(Kind<TypeParam>::kTag, "disable FreeRun"));
    }
}

TYPED_TEST(DecoderTest, AFileThatCannotBeReadFailsInPrepareAndMayBeTriedAgain) {
    Job<TypeParam> job("no-such-file.mp4");
    LogCapture log;
    advance(&job, job.startStep() - 1);
    const status_t err = job.decoder->prepare();
    EXPECT_NE(err, OK);
    EXPECT_EQ(job.decoder->prepare(), err) << "still UNPREPARED";
    EXPECT_TRUE(log.contains(Kind<TypeParam>::kTag, "MediaExtractor set data source failed"));
}

// It is prepared all the same, but there is nothing to start.
TYPED_TEST(DecoderTest, AFileWithoutTheTrackIsReportedOnce) {
    Job<TypeParam> job(Kind<TypeParam>::kFileWithoutTrack);
    advance(&job, job.startStep());
    EXPECT_TRUE(waitFor([&] {
        return job.reports->count(kWhatDecodeGotEOS, AMSG_STOP_ITEM, Kind<TypeParam>::kNoTrack) ==
               1;
    }));
    EXPECT_NE(take(&job, job.startStep()), OK);
}

TYPED_TEST(DecoderTest, FreeRunReachesTheEndOnceWithEverything) {
    Job<TypeParam> job("friday_audio_starts_1200ms.mp4");
    ASSERT_EQ(job.decoder->setFreeRun(1), OK);
    advance(&job, job.startStep() + 1);
    auto ends = [&] {
        return job.reports->count(kWhatDecodeGotEOS, AMSG_STOP_ITEM, Kind<TypeParam>::kEnd);
    };
    ASSERT_TRUE(waitFor([&] { return ends() > 0; }));
    EXPECT_EQ(job.decoder->stop(), OK);
    EXPECT_EQ(ends(), 1);
    EXPECT_GT(job.decoder->lastTimeUs(), 3000000);
}

TEST(VideoDecoderTest, FrameRatesAreReportedWhenAskedFor) {
    Job<VideoDecoder> job("bunny_480p_hevc.mp4");
    ASSERT_EQ(job.decoder->setFreeRun(1), OK);
    ASSERT_EQ(job.decoder->setCalculateFPS(0.001), OK);
    advance(&job, job.startStep() + 1);
    ASSERT_TRUE(waitFor([&] { return job.reports->count(kWhatAverageFPS) == 1; }));
    EXPECT_GT(job.reports->count(kWhatInstantFPS), 0);
}

// The clock starts with the first picture, and no picture comes before its time.
TEST(VideoDecoderTest, PacedPicturesAreNotEarly) {
    Job<VideoDecoder> job;
    advance(&job, job.startStep() + 1);
    ASSERT_TRUE(waitFor([&] { return job.display->pictures().size() >= 8; }));
    const int64_t startUs = job.decoder->firstFrameTimeUs();
    EXPECT_EQ(job.decoder->stop(), OK);
    for (const oxa::host::RecordedPicture& picture : job.display->pictures()) {
        EXPECT_GE(picture.arrivalUs - startUs, picture.timestampNs)
                << "the time is handed on in microseconds";
    }
}

// The moment lies in the future, and the sound waits for it.
TEST(AudioDecoderTest, SoundWaitsForTheStartThatItWasGiven) {
    Job<AudioDecoder> job;
    const auto recording = oxa::host::useSoundRecording(48000);
    advance(&job, job.startStep());
    const int64_t startUs = ALooper::GetNowUs() + 500000;
    ASSERT_EQ(job.decoder->start(startUs), OK);
    ASSERT_TRUE(waitFor([&] { return job.decoder->lastTimeUs() >= 0; }));
    EXPECT_GE(ALooper::GetNowUs(), startUs);
    EXPECT_EQ(job.decoder->stop(), OK);
}

// Everything lies in the past and is left out, but the end still comes.
TEST(AudioDecoderTest, LateSoundIsNotWritten) {
    Job<AudioDecoder> job;
    advance(&job, job.startStep());
    ASSERT_EQ(job.decoder->start(ALooper::GetNowUs() - 3600000000), OK);
    ASSERT_TRUE(waitFor([&] {
        return job.reports->count(kWhatDecodeGotEOS, AMSG_STOP_ITEM, EOSAudioReached) == 1;
    }));
    EXPECT_EQ(job.decoder->lastTimeUs(), -1);
    EXPECT_EQ(job.decoder->stop(), OK);
}

}  // namespace
}  // namespace android
