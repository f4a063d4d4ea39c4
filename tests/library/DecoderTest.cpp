// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <oxa/host/Display.h>
#include <oxa/host/SoundOutput.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "AudioDecoder.h"
#include "VideoDecoder.h"
#include "library/LogCapture.h"
#include "support/Deadline.h"
#include "support/TestClips.h"

namespace android {
namespace {

using oxa::test::mediaPath;
using oxa::test::waitFor;

constexpr char kBothTracks[] = "friday_480p_audio_first.mp4";

// Stands in for the facade and its client: keeps the reports.
class Reports : public AHandler {
  public:
    void onMessageReceived(const sp<AMessage>& msg) override {
        std::lock_guard<std::mutex> lock(mLock);
        mReports.push_back(msg);
    }
    int count(uint32_t what, int32_t item = 0) const {
        std::lock_guard<std::mutex> lock(mLock);
        int count = 0;
        for (const sp<AMessage>& report : mReports) {
            int32_t found = 0;
            report->findInt32(AMSG_STOP_ITEM, &found);
            count += report->what() == what && found == item;
        }
        return count;
    }

  private:
    mutable std::mutex mLock;
    std::vector<sp<AMessage>> mReports;
};

using Steps = std::vector<std::function<status_t()>>;

// What differs between the two decoders.
template <typename Decoder>
struct Kind;

template <>
struct Kind<VideoDecoder> {
    static constexpr char kTag[] = "VideoDecoder";
    static constexpr char kFileWithoutTrack[] = "roar.mp3";
    static constexpr int32_t kNoTrack = NO_VIDEO_TRACK;
    static constexpr int32_t kEnd = EOSVideoReached;
    static constexpr char kUnknownRequest[] = "VideoDecoder\\.cpp:167 Should not be here\\.";
    // The state that each step needs.
    static std::vector<const char*> states() {
        return {"UNINITIALIZED", "WAIT_SURFACE", "UNPREPARED", "PREPARED", "STARTED"};
    }
    static Steps steps(const sp<VideoDecoder>& decoder, const char* clip,
                       const sp<Surface>& surface) {
        return {[=] { return decoder->setDataSource(mediaPath(clip).c_str()); },
                [=] { return decoder->setSurface(surface); }, [=] { return decoder->prepare(); },
                [=] { return decoder->start(); }, [=] { return decoder->stop(); }};
    }
};

template <>
struct Kind<AudioDecoder> {
    static constexpr char kTag[] = "AudioDecoder";
    static constexpr char kFileWithoutTrack[] = "bunny_480p_hevc.mp4";
    static constexpr int32_t kNoTrack = NO_AUDIO_TRACK;
    static constexpr int32_t kEnd = EOSAudioReached;
    static constexpr char kUnknownRequest[] = "AudioDecoder\\.cpp:144 Should not be here\\.";
    static std::vector<const char*> states() {
        return {"UNINITIALIZED", "UNPREPARED", "PREPARED", "STARTED"};
    }
    static Steps steps(const sp<AudioDecoder>& decoder, const char* clip, const sp<Surface>&) {
        return {[=] { return decoder->setDataSource(mediaPath(clip).c_str()); },
                [=] { return decoder->prepare(); },
                [=] { return decoder->start(ALooper::GetNowUs()); },
                [=] { return decoder->stop(); }};
    }
};

// One decoder on a looper, with a display, silent sound and somebody to report to.
template <typename Decoder>
class Job {
  public:
    explicit Job(const char* clip = kBothTracks) {
        oxa::host::useNullSound();
        mDisplay = oxa::host::createRecordingDisplay();
        mReportLooper->registerHandler(reports);
        mReportLooper->start();
        mLooper->registerHandler(decoder);
        mLooper->start();
        decoder->mPlayerHandler = reports;
        decoder->mStatusHandler = reports;
        steps = Kind<Decoder>::steps(decoder, clip, new Surface(mDisplay->producer()));
    }
    ~Job() {
        decoder->reset();
        decoder->cleanup();
        mLooper->unregisterHandler(decoder->id());
        mLooper->stop();
        mReportLooper->unregisterHandler(reports->id());
        mReportLooper->stop();
    }
    size_t startStep() const { return steps.size() - 2; }
    void advance(size_t count) {
        for (size_t i = 0; i < count; ++i)
            ASSERT_EQ(steps[i](), OK) << "step " << i;
    }
    std::vector<oxa::host::RecordedPicture> pictures() const { return mDisplay->pictures(); }

    sp<Decoder> decoder = new Decoder;
    sp<Reports> reports = new Reports;
    Steps steps;

  private:
    std::unique_ptr<oxa::host::RecordingDisplay> mDisplay;
    sp<ALooper> mLooper = new ALooper;
    sp<ALooper> mReportLooper = new ALooper;
};

template <typename Decoder>
class DecoderTest : public ::testing::Test {};
using Decoders = ::testing::Types<VideoDecoder, AudioDecoder>;
TYPED_TEST_SUITE(DecoderTest, Decoders);

// In each state every step but the next is refused with the state that it needs.
TYPED_TEST(DecoderTest, OnlyTheNextStepIsAccepted) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::vector<const char*> states = Kind<TypeParam>::states();
    for (size_t state = 0; state <= states.size(); ++state) {
        for (size_t step = 0; step < states.size(); ++step) {
            if (step == state) continue;
            EXPECT_DEATH(
                    {
                        Job<TypeParam> job;
                        job.advance(state);
                        job.steps[step]();
                    },
                    std::string(Kind<TypeParam>::kTag) +
                            "\\.cpp:[0-9]+ CHECK\\(mState == " + states[step] + "\\) failed\\.")
                    << "state " << state << ", step " << step;
        }
    }
    EXPECT_DEATH(
            {
                Job<TypeParam> job;
                sp<AMessage> reply;
                (new AMessage(99, job.decoder))->postAndAwaitResponse(&reply);
            },
            Kind<TypeParam>::kUnknownRequest);
}

// A reset before the start keeps the prepared codec; one after it ends the object's use.
TYPED_TEST(DecoderTest, ResetBeforeTheStartChangesNothing) {
    for (size_t state = 0; state <= Job<TypeParam>().startStep(); ++state) {
        Job<TypeParam> job;
        job.advance(state);
        EXPECT_EQ(job.decoder->reset(), OK) << "state " << state;
        EXPECT_EQ(job.steps[state](), OK) << "state " << state;
    }
    for (size_t taken : {1, 2}) {
        LogCapture log;
        Job<TypeParam> job;
        job.advance(job.startStep() + taken);
        EXPECT_EQ(job.decoder->reset(), OK);
        EXPECT_EQ(log.count(Kind<TypeParam>::kTag, "Decoder reset success"), 1);
        EXPECT_EQ(job.decoder->reset(), OK) << "again";
        EXPECT_EQ(log.count(Kind<TypeParam>::kTag, "Decoder reset success"), 1);
    }
}

TYPED_TEST(DecoderTest, SwitchesAreTakenInEveryState) {
    for (size_t state = 0; state <= Kind<TypeParam>::states().size(); ++state) {
        Job<TypeParam> job;
        job.advance(state);
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
    job.advance(job.startStep() - 1);
    const status_t err = job.decoder->prepare();
    EXPECT_NE(err, OK);
    EXPECT_EQ(job.decoder->prepare(), err) << "still UNPREPARED";
    EXPECT_TRUE(log.contains(Kind<TypeParam>::kTag, "MediaExtractor set data source failed"));
}

// It is prepared all the same, but there is nothing to start.
TYPED_TEST(DecoderTest, AFileWithoutTheTrackIsReportedOnce) {
    Job<TypeParam> job(Kind<TypeParam>::kFileWithoutTrack);
    job.advance(job.startStep());
    EXPECT_TRUE(waitFor(
            [&] { return job.reports->count(kWhatDecodeGotEOS, Kind<TypeParam>::kNoTrack) == 1; }));
    EXPECT_NE(job.steps[job.startStep()](), OK);
}

TYPED_TEST(DecoderTest, FreeRunReachesTheEndOnceWithEverything) {
    Job<TypeParam> job;
    ASSERT_EQ(job.decoder->setFreeRun(1), OK);
    job.advance(job.startStep() + 1);
    auto ends = [&] { return job.reports->count(kWhatDecodeGotEOS, Kind<TypeParam>::kEnd); };
    ASSERT_TRUE(waitFor([&] { return ends() > 0; }));
    EXPECT_EQ(job.decoder->stop(), OK);
    EXPECT_EQ(ends(), 1);
    EXPECT_GT(job.decoder->lastTimeUs(), 6000000);
}

TEST(VideoDecoderTest, FreeRunShowsEveryPicture) {
    Job<VideoDecoder> job;
    ASSERT_EQ(job.decoder->setFreeRun(1), OK);
    job.advance(job.startStep() + 1);
    ASSERT_TRUE(
            waitFor([&] { return job.reports->count(kWhatDecodeGotEOS, EOSVideoReached) > 0; }));
    ASSERT_TRUE(waitFor([&] { return job.pictures().size() == 185; }));
    EXPECT_EQ(job.decoder->shownFrames(), 185);
    EXPECT_EQ(job.decoder->droppedFrames(), 0);
}

// The clock starts with the first picture, and no picture comes before its time.
TEST(VideoDecoderTest, PacedPicturesAreNotEarly) {
    Job<VideoDecoder> job;
    job.advance(job.startStep() + 1);
    ASSERT_TRUE(waitFor([&] { return job.pictures().size() >= 20; }));
    const int64_t startUs = job.decoder->firstFrameTimeUs();
    EXPECT_EQ(job.decoder->stop(), OK);
    for (const oxa::host::RecordedPicture& picture : job.pictures()) {
        EXPECT_GE(picture.arrivalUs - startUs, picture.timestampNs)
                << "the time is handed on in microseconds";
    }
}

TEST(VideoDecoderTest, FrameRatesAreReportedWhenAskedFor) {
    for (double interval : {-1.0, 0.0, 0.001}) {
        Job<VideoDecoder> job;
        ASSERT_EQ(job.decoder->setFreeRun(1), OK);
        ASSERT_EQ(job.decoder->setCalculateFPS(interval), OK);
        job.advance(job.startStep() + 1);
        ASSERT_TRUE(waitFor(
                [&] { return job.reports->count(kWhatDecodeGotEOS, EOSVideoReached) > 0; }));
        const bool reporting = interval > 0;
        EXPECT_EQ(job.reports->count(kWhatInstantFPS) > 0, reporting);
        EXPECT_EQ(job.reports->count(kWhatAverageFPS), reporting ? 1 : 0);
    }
}

// The moment lies in the future, and the sound waits for it.
TEST(AudioDecoderTest, SoundWaitsForTheStartThatItWasGiven) {
    Job<AudioDecoder> job;
    const auto recording = oxa::host::useSoundRecording(48000);
    job.advance(job.startStep());
    const int64_t startUs = ALooper::GetNowUs() + 500000;
    ASSERT_EQ(job.decoder->start(startUs), OK);
    ASSERT_TRUE(waitFor([&] { return job.decoder->lastTimeUs() >= 0; }));
    EXPECT_GE(ALooper::GetNowUs(), startUs);
    EXPECT_EQ(job.decoder->stop(), OK);
}

// Everything lies in the past and is left out, but the end still comes.
TEST(AudioDecoderTest, LateSoundIsNotWritten) {
    Job<AudioDecoder> job;
    job.advance(job.startStep());
    ASSERT_EQ(job.decoder->start(ALooper::GetNowUs() - 3600000000), OK);
    ASSERT_TRUE(
            waitFor([&] { return job.reports->count(kWhatDecodeGotEOS, EOSAudioReached) == 1; }));
    EXPECT_EQ(job.decoder->lastTimeUs(), -1);
    EXPECT_EQ(job.decoder->stop(), OK);
}

}  // namespace
}  // namespace android
