// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <stdio.h>

#include <memory>
#include <string>
#include <vector>

#include "AudioTranscoder.h"
#include "VideoTranscoder.h"
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

enum State { kSource, kMuxer, kTarget, kPrepare, kStart, kStop, kStepCount };

// What differs between the two transcoders.
template <typename Transcoder>
struct Kind;
template <>
struct Kind<VideoTranscoder> {
    static constexpr char kTag[] = "VideoTranscoder";
    static constexpr char kCheckedIn[] = "VideoTranscoder.cpp:";
    static constexpr int kSites[] = {60, 89, 100, 111, 133, 147};
    static constexpr char kFileWithoutTrack[] = "roar.mp3";
    static constexpr int32_t kNoTrack = NO_VIDEO_TRACK;
};
template <>
struct Kind<AudioTranscoder> {
    static constexpr char kTag[] = "AudioTranscoder";
    static constexpr char kCheckedIn[] = "AudioTranscoder.cpp:";
    static constexpr int kSites[] = {56, 85, 96, 108, 121, 134};
    static constexpr char kFileWithoutTrack[] = "bunny_480p_hevc.mp4";
    static constexpr int32_t kNoTrack = NO_AUDIO_TRACK;
};

// One transcoder on a looper, with a muxer and somebody to report to.
template <typename Transcoder>
class Job {
  public:
    static constexpr const char* kCheckedIn = Kind<Transcoder>::kCheckedIn;

    Job() {
        muxer = new OxaMediaMuxer(fileno(mFile.get()), OxaMediaMuxer::OUTPUT_FORMAT_MPEG_4);
        reports->muxer = muxer;
        transcoder->mPlayerHandler = reports;
        transcoder->mStatusHandler = reports;
        format.width = 160;
        format.height = 90;
        format.bitRate = 200000;
        format.iFrameInterval = 2;
        format.deinterlace = -1;
        format.channelCount = 2;
        format.sampleRate = 48000;
    }
    ~Job() {
        transcoder->reset();
        transcoder->cleanup();
    }
    static std::vector<Step> steps(Job* job) {
        return {{[job] { return job->transcoder->setDataSource(mediaPath(job->clip).c_str()); },
                 refusal(kSource, "mState == UNINITIALIZED")},
                {[job] { return job->transcoder->setMuxer(job->muxer); },
                 refusal(kMuxer, "mState == WAIT_MUXER")},
                {[job] { return job->transcoder->setTargetFormat(job->format); },
                 refusal(kTarget, "mState == WAIT_TARGET_FORMAT")},
                {[job] { return job->transcoder->prepare(); },
                 refusal(kPrepare, "mState == UNPREPARED")},
                {[job] { return job->transcoder->start(); }, refusal(kStart, "mState == PREPARED")},
                {[job] { return job->transcoder->stop(); }, refusal(kStop, "mState == STARTED")}};
    }

    const char* clip = "friday_480p_audio_first.mp4";
    const sp<Transcoder> transcoder = new Transcoder;
    const sp<Reports> reports = new Reports;
    sp<OxaMediaMuxer> muxer;
    _AV_FORMAT_FORMAT format = {};

  private:
    static std::string refusal(State step, const char* condition) {
        return std::to_string(Kind<Transcoder>::kSites[step]) + " " + refusalOf(condition);
    }

    const std::unique_ptr<FILE, int (*)(FILE*)> mFile{tmpfile(), fclose};
    const OwnLooper mLooper{transcoder};
    const OwnLooper mReportLooper{reports};
};

template <typename Transcoder>
class TranscoderTest : public ::testing::Test {};
template <typename Transcoder>
class TranscoderDeathTest : public ::testing::Test {};
using Transcoders = ::testing::Types<VideoTranscoder, AudioTranscoder>;
TYPED_TEST_SUITE(TranscoderTest, Transcoders);
TYPED_TEST_SUITE(TranscoderDeathTest, Transcoders);

TYPED_TEST(TranscoderDeathTest, OnlyTheNextStepIsAccepted) {
    expectOnlyTheNextStepIsAccepted<Job<TypeParam>>();
}

TYPED_TEST(TranscoderTest, ResetIsAcceptedInEveryStateAndLeadsToTheStart) {
    for (int state = 0; state <= kStepCount; ++state) {
        Job<TypeParam> job;
        advance(&job, state);
        EXPECT_EQ(job.transcoder->reset(), OK) << "state " << state;
        EXPECT_EQ(take(&job, kSource), OK) << "state " << state;
    }
}

TYPED_TEST(TranscoderTest, AFileThatCannotBeReadFailsInPrepare) {
    Job<TypeParam> job;
    job.clip = "no-such-file.mp4";
    LogCapture log;
    advance(&job, kPrepare);
    EXPECT_NE(job.transcoder->prepare(), OK);
    EXPECT_TRUE(log.contains(Kind<TypeParam>::kTag, "MediaExtractor set data source failed"));
}

TYPED_TEST(TranscoderTest, AFileWithoutTheTrackIsReported) {
    Job<TypeParam> job;
    job.clip = Kind<TypeParam>::kFileWithoutTrack;
    advance(&job, kPrepare);
    EXPECT_EQ(job.transcoder->prepare(), UNKNOWN_ERROR);
    EXPECT_TRUE(waitFor([&] {
        return job.reports->count(kWhatDecodeGotEOS, AMSG_STOP_ITEM, Kind<TypeParam>::kNoTrack) ==
               1;
    }));
}

// A muxer that does not want the track leaves nothing to wait for: the transcoder stops itself,
// says so, and takes the stop that its client will still send.
TYPED_TEST(TranscoderTest, ARefusedTrackStopsThePipelineAndLaterStopIsAnswered) {
    Job<TypeParam> job;
    job.reports->muxer = nullptr;
    job.muxer = new OxaMediaMuxer(-1, OxaMediaMuxer::OUTPUT_FORMAT_MPEG_4);
    advance(&job, kStop);
    ASSERT_TRUE(waitFor([&] { return job.reports->count(kWhatTranscodeDone) > 0; }));
    EXPECT_EQ(job.reports->count(kWhatTrackAdded), 0);
    EXPECT_EQ(job.transcoder->stop(), OK);
}

TYPED_TEST(TranscoderTest, AnErrorOfTheEncoderIsToldToTheFacadeAndToTheClient) {
    for (bool clientIsFacade : {true, false}) {
        Job<TypeParam> job;
        const sp<Reports> client = new Reports;
        const OwnLooper looper(client);
        if (!clientIsFacade) job.transcoder->mStatusHandler = client;
        job.transcoder->handleEncoderError(-5, 0, "");
        ASSERT_TRUE(waitFor([&] { return job.reports->count(kWhatTranscodeDone) > 0; }));
        EXPECT_EQ(job.reports->count(kWhatError, "err", -5), 1);
        if (!clientIsFacade) {
            EXPECT_TRUE(waitFor([&] { return client->count(kWhatError, "err", -5) > 0; }));
        }
        EXPECT_EQ(client->count(kWhatError), clientIsFacade ? 0 : 1);
    }
}

TYPED_TEST(TranscoderTest, StopComesOutOfAMuxerThatNeverStarts) {
    Job<TypeParam> job;
    job.reports->muxer = nullptr;
    advance(&job, kStop);
    ASSERT_TRUE(waitFor([&] { return job.reports->count(kWhatTrackAdded) > 0; }));
    EXPECT_EQ(job.transcoder->stop(), OK);
    EXPECT_FALSE(job.muxer->isStarted());
}

// What prepare computes goes back into the client's record.
TEST(VideoTranscoderTest, WritesTheComputedRatesBack) {
    Job<VideoTranscoder> job;
    job.format.width = 1920;
    job.format.height = 1080;
    job.format.bitRate = -1;
    advance(&job, kStart);
    EXPECT_EQ(job.format.bitRate, 31104000);
    EXPECT_EQ(job.format.frameRate, 30);
}

// 92 pictures: reports with pictures 30, 60 and 90, and the frame rates only when asked for.
TEST(VideoTranscoderTest, ReportsProgressEndAndFrameRates) {
    for (double interval : {-1.0, 0.001}) {
        Job<VideoTranscoder> job;
        job.clip = "friday_audio_starts_1200ms.mp4";
        advance(&job, kStart);
        ASSERT_EQ(job.transcoder->setCalculateFPS(interval), OK);
        ASSERT_EQ(take(&job, kStart), OK);
        ASSERT_TRUE(
                waitFor([&] { return job.reports->count(kWhatTranscodeDone, "err", OK) == 1; }));
        EXPECT_EQ(job.reports->count(kWhatDecodeGotEOS, AMSG_STOP_ITEM, EOSVideoReached), 1);
        EXPECT_EQ(job.transcoder->encodedFrames(), 92);
        const std::vector<int64_t> times = job.reports->times("video-pts");
        ASSERT_EQ(times.size(), 3u);
        EXPECT_NEAR(times[0], 29 * 1000000 / 30, 1000);
        EXPECT_NEAR(times[2], 89 * 1000000 / 30, 1000);
        bool reporting = interval > 0;
        EXPECT_EQ(job.reports->count(kWhatInstantFPS, "codec-type", 1) > 0, reporting);
        EXPECT_EQ(job.reports->count(kWhatInstantFPS, "codec-type", 2) > 0, reporting);
        EXPECT_EQ(job.reports->count(kWhatAverageFPS), reporting ? 2 : 0);
        EXPECT_EQ(job.transcoder->stop(), OK);
        EXPECT_EQ(job.muxer->stop(), OK);
    }
}

// The sound's end is reported when the file is read; its last access units still follow.
TEST(AudioTranscoderTest, ReportsItsEndBeforeTheLastSampleIsWritten) {
    Job<AudioTranscoder> job;
    advance(&job, kStop);
    ASSERT_TRUE(waitFor([&] { return job.reports->count(kWhatTranscodeDone, "err", OK) == 1; }));
    EXPECT_EQ(job.reports->count(kWhatDecodeGotEOS, AMSG_STOP_ITEM, EOSAudioReached), 1);
    EXPECT_GT(job.transcoder->lastTimeUs(), 6000000);
    EXPECT_EQ(job.transcoder->stop(), OK);
    EXPECT_EQ(job.muxer->stop(), OK);
}

}  // namespace
}  // namespace android
