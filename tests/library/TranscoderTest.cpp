// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "AudioTranscoder.h"
#include "VideoTranscoder.h"
#include "library/LogCapture.h"
#include "support/Deadline.h"
#include "support/TestClips.h"

namespace android {
namespace {

using oxa::test::mediaPath;
using oxa::test::waitFor;

// Stands in for the facade: keeps the reports and starts the muxer for a single track.
class Reports : public AHandler {
  public:
    void onMessageReceived(const sp<AMessage>& msg) override {
        if (msg->what() == kWhatTrackAdded && muxer != nullptr) muxer->start();
        std::lock_guard<std::mutex> lock(mLock);
        mReports.push_back(msg);
    }
    int count(uint32_t what, const char* key = nullptr, int32_t value = 0) const {
        std::lock_guard<std::mutex> lock(mLock);
        int count = 0;
        for (const sp<AMessage>& report : mReports) {
            int32_t found = 0;
            count += report->what() == what &&
                     (key == nullptr || (report->findInt32(key, &found) && found == value));
        }
        return count;
    }
    std::vector<int64_t> syncTimes() const {
        std::lock_guard<std::mutex> lock(mLock);
        std::vector<int64_t> times;
        for (const sp<AMessage>& report : mReports) {
            int64_t timeUs;
            if (report->findInt64("video-pts", &timeUs)) times.push_back(timeUs);
        }
        return times;
    }

    sp<OxaMediaMuxer> muxer;

  private:
    mutable std::mutex mLock;
    std::vector<sp<AMessage>> mReports;
};

enum Step { kSource, kMuxer, kTarget, kPrepare, kStart, kStop, kStepCount };

// One transcoder on a looper, with a muxer and somebody to report to.
template <typename Transcoder>
class Job {
  public:
    Job() {
        mFile = tmpfile();
        muxer = new OxaMediaMuxer(fileno(mFile), OxaMediaMuxer::OUTPUT_FORMAT_MPEG_4);
        reports->muxer = muxer;
        mReportLooper->registerHandler(reports);
        mReportLooper->start();
        mLooper->registerHandler(transcoder);
        mLooper->start();
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
        mLooper->unregisterHandler(transcoder->id());
        mLooper->stop();
        mReportLooper->unregisterHandler(reports->id());
        mReportLooper->stop();
        fclose(mFile);
    }
    std::vector<std::function<status_t()>> steps() {
        return {[this] { return transcoder->setDataSource(mediaPath(clip).c_str()); },
                [this] { return transcoder->setMuxer(muxer); },
                [this] { return transcoder->setTargetFormat(format); },
                [this] { return transcoder->prepare(); },
                [this] { return transcoder->start(); },
                [this] { return transcoder->stop(); }};
    }
    void advance(size_t count) {
        auto all = steps();
        for (size_t i = 0; i < count; ++i)
            ASSERT_EQ(all[i](), OK) << "step " << i;
    }

    const char* clip = "friday_480p_audio_first.mp4";
    sp<Transcoder> transcoder = new Transcoder;
    sp<Reports> reports = new Reports;
    sp<OxaMediaMuxer> muxer;
    _AV_FORMAT_FORMAT format = {};

  private:
    FILE* mFile;
    sp<ALooper> mLooper = new ALooper;
    sp<ALooper> mReportLooper = new ALooper;
};

// Site numbers of the state checks, in the order of the steps.
template <typename Transcoder>
struct Sites;
template <>
struct Sites<VideoTranscoder> {
    static constexpr const char* kSource = "VideoTranscoder\\.cpp";
    static constexpr int kLines[] = {60, 89, 100, 111, 133, 147};
};
template <>
struct Sites<AudioTranscoder> {
    static constexpr const char* kSource = "AudioTranscoder\\.cpp";
    static constexpr int kLines[] = {56, 85, 96, 108, 121, 134};
};
constexpr const char* kConditions[] = {"UNINITIALIZED", "WAIT_MUXER", "WAIT_TARGET_FORMAT",
                                       "UNPREPARED",    "PREPARED",   "STARTED"};

template <typename Transcoder>
class TranscoderStateTest : public ::testing::Test {};
using Transcoders = ::testing::Types<VideoTranscoder, AudioTranscoder>;
TYPED_TEST_SUITE(TranscoderStateTest, Transcoders);

// In each state every step but the next is refused with its own site and condition.
TYPED_TEST(TranscoderStateTest, OnlyTheNextStepIsAccepted) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (int state = 0; state <= kStepCount; ++state) {
        for (int step = 0; step < kStepCount; ++step) {
            if (step == state) continue;
            std::string text = std::string(Sites<TypeParam>::kSource) + ":" +
                               std::to_string(Sites<TypeParam>::kLines[step]) +
                               " CHECK\\(mState == " + kConditions[step] + "\\) failed\\.";
            EXPECT_DEATH(
                    {
                        Job<TypeParam> job;
                        job.advance(state);
                        job.steps()[step]();
                    },
                    text)
                    << "state " << state << ", step " << step;
        }
    }
}

TYPED_TEST(TranscoderStateTest, ResetIsAcceptedInEveryStateAndLeadsToTheStart) {
    for (int state = 0; state <= kStepCount; ++state) {
        Job<TypeParam> job;
        job.advance(state);
        EXPECT_EQ(job.transcoder->reset(), OK) << "state " << state;
        EXPECT_EQ(job.steps()[kSource](), OK) << "state " << state;
    }
}

TYPED_TEST(TranscoderStateTest, AFileThatCannotBeReadFailsInPrepare) {
    Job<TypeParam> job;
    job.clip = "no-such-file.mp4";
    LogCapture log;
    job.advance(kPrepare);
    EXPECT_NE(job.transcoder->prepare(), OK);
    std::string name = Sites<TypeParam>::kSource;
    EXPECT_TRUE(
            log.contains(name.substr(0, name.find('\\')), "MediaExtractor set data source failed"));
}

// A muxer that does not want the track leaves nothing to wait for: the transcoder stops itself,
// says so, and takes the stop that its client will still send.
TYPED_TEST(TranscoderStateTest, ARefusedTrackStopsThePipelineAndLaterStopIsAnswered) {
    Job<TypeParam> job;
    job.reports->muxer = nullptr;
    job.muxer = new OxaMediaMuxer(-1, OxaMediaMuxer::OUTPUT_FORMAT_MPEG_4);
    job.advance(kStart + 1);
    ASSERT_TRUE(waitFor([&] { return job.reports->count(kWhatTranscodeDone) > 0; }));
    EXPECT_EQ(job.reports->count(kWhatTrackAdded), 0);
    EXPECT_EQ(job.transcoder->stop(), OK);
}

TYPED_TEST(TranscoderStateTest, AnErrorOfTheEncoderIsToldToTheFacadeAndToTheClient) {
    for (bool clientIsFacade : {true, false}) {
        Job<TypeParam> job;
        const sp<Reports> client = new Reports;
        const sp<ALooper> looper = new ALooper;
        looper->registerHandler(client);
        looper->start();
        if (!clientIsFacade) job.transcoder->mStatusHandler = client;
        job.transcoder->handleEncoderError(-5, 0, "");
        ASSERT_TRUE(waitFor([&] { return job.reports->count(kWhatTranscodeDone) > 0; }));
        EXPECT_EQ(job.reports->count(kWhatError, "err", -5), 1);
        if (!clientIsFacade) {
            EXPECT_TRUE(waitFor([&] { return client->count(kWhatError, "err", -5) > 0; }));
        }
        EXPECT_EQ(client->count(kWhatError), clientIsFacade ? 0 : 1);
        looper->unregisterHandler(client->id());
        looper->stop();
    }
}

TYPED_TEST(TranscoderStateTest, StopComesOutOfAMuxerThatNeverStarts) {
    Job<TypeParam> job;
    job.reports->muxer = nullptr;
    job.advance(kStart + 1);
    ASSERT_TRUE(waitFor([&] { return job.reports->count(kWhatTrackAdded) > 0; }));
    EXPECT_EQ(job.transcoder->stop(), OK);
    EXPECT_FALSE(job.muxer->isStarted());
}

TEST(VideoTranscoderTest, ReportsAFileWithoutVideo) {
    Job<VideoTranscoder> job;
    job.clip = "roar.mp3";
    job.advance(kPrepare);
    EXPECT_EQ(job.transcoder->prepare(), UNKNOWN_ERROR);
    EXPECT_TRUE(waitFor([&] {
        return job.reports->count(kWhatDecodeGotEOS, AMSG_STOP_ITEM, NO_VIDEO_TRACK) == 1;
    }));
}

TEST(AudioTranscoderTest, ReportsAFileWithoutAudio) {
    Job<AudioTranscoder> job;
    job.clip = "bunny_480p_hevc.mp4";
    job.advance(kPrepare);
    EXPECT_EQ(job.transcoder->prepare(), UNKNOWN_ERROR);
    EXPECT_TRUE(waitFor([&] {
        return job.reports->count(kWhatDecodeGotEOS, AMSG_STOP_ITEM, NO_AUDIO_TRACK) == 1;
    }));
}

// What prepare computes goes back into the client's record.
TEST(VideoTranscoderTest, WritesTheComputedRatesBack) {
    Job<VideoTranscoder> job;
    job.format.width = 1920;
    job.format.height = 1080;
    job.format.bitRate = -1;
    job.advance(kPrepare + 1);
    EXPECT_EQ(job.format.bitRate, 31104000);
    EXPECT_EQ(job.format.frameRate, 30);
}

// 185 pictures: reports with pictures 30, 60, ..., 180, and the frame rates only when asked for.
TEST(VideoTranscoderTest, ReportsProgressEndAndFrameRates) {
    for (double interval : {-1.0, 0.001}) {
        Job<VideoTranscoder> job;
        job.advance(kPrepare + 1);
        ASSERT_EQ(job.transcoder->setCalculateFPS(interval), OK);
        ASSERT_EQ(job.steps()[kStart](), OK);
        ASSERT_TRUE(
                waitFor([&] { return job.reports->count(kWhatTranscodeDone, "err", OK) == 1; }));
        EXPECT_EQ(job.reports->count(kWhatDecodeGotEOS, AMSG_STOP_ITEM, EOSVideoReached), 1);
        EXPECT_EQ(job.transcoder->encodedFrames(), 185);
        std::vector<int64_t> times = job.reports->syncTimes();
        ASSERT_EQ(times.size(), 6u);
        EXPECT_NEAR(times[0], 29 * 1000000 / 30, 1000);
        EXPECT_NEAR(times[5], 179 * 1000000 / 30, 1000);
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
    job.advance(kStart + 1);
    ASSERT_TRUE(waitFor([&] { return job.reports->count(kWhatTranscodeDone, "err", OK) == 1; }));
    EXPECT_EQ(job.reports->count(kWhatDecodeGotEOS, AMSG_STOP_ITEM, EOSAudioReached), 1);
    EXPECT_GT(job.transcoder->lastTimeUs(), 6000000);
    EXPECT_EQ(job.transcoder->stop(), OK);
    EXPECT_EQ(job.muxer->stop(), OK);
}

}  // namespace
}  // namespace android
