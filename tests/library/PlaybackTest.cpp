// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <oxa/host/Display.h>
#include <oxa/host/SoundOutput.h>

#include <functional>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "OxaMediaCodecPlayer.h"
#include "library/LogCapture.h"
#include "platform/codec/ScriptedComponent.h"
#include "support/Deadline.h"
#include "support/TestClips.h"

namespace android {
namespace {

using oxa::test::mediaPath;
using oxa::test::ScriptedComponent;
using oxa::test::waitFor;

constexpr char kTag[] = "OxaMediaCodecPlayer";
constexpr char kClip[] = "friday_480p_audio_first.mp4";
// The only clip of its type, whose decoder the tests can therefore replace.
constexpr char kScriptedClip[] = "bird_mpeg4asp_mp3.avi";
constexpr char kScriptedType[] = "video/mp4v-es";

enum Step { kInitiate, kSource, kSurface, kPrepare, kStart, kStop, kStepCount };

// A player and what it needs to be taken to any state of a file playback.
class Job {
  public:
    explicit Job(const char* clip = kClip, int onlyTrack = 0)
        : player(new OxaMediaCodecPlayer(true, onlyTrack)),
          display(oxa::host::createRecordingDisplay()),
          mClip(clip) {
        oxa::host::useNullSound();
    }
    ~Job() { player->cleanup(); }

    // The steps in the order of the states; taking the first n leads to the n-th state.
    std::vector<std::function<status_t()>> steps() {
        return {[this] { return player->initiate(SourceTypeFile, true, false); },
                [this] { return player->setDataSource(mediaPath(mClip).c_str()); },
                [this] { return player->setSurface(display->producer()); },
                [this] { return player->prepare(); },
                [this] { return player->start(); },
                [this] { return player->stop(); }};
    }
    void advance(size_t count) {
        auto all = steps();
        for (size_t i = 0; i < count; ++i)
            ASSERT_EQ(all[i](), OK) << "step " << i;
    }
    _PLAYBACK_PROGRESS progress() {
        _PLAYBACK_PROGRESS progress = {};
        EXPECT_EQ(player->getPlaybackProgress(&progress), OK);
        return progress;
    }

    sp<OxaMediaCodecPlayer> player;
    std::unique_ptr<oxa::host::RecordingDisplay> display;

  private:
    const char* const mClip;
};

class PlaybackStateTest : public ::testing::TestWithParam<int> {};

TEST_P(PlaybackStateTest, OnlyItsOwnRequestsAreAccepted) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const int state = GetParam();
    const char* const refusals[] = {
            "mState == UNINITIALIZED", "mState == INITIALIZED && mTranscodeType == SourceTypeFile",
            "mState == WAIT_SURFACE", "mState == UNPREPARED", "mState == PREPARED"};
    for (int step = kInitiate; step < kStop; ++step) {
        if (step == state) continue;
        EXPECT_DEATH(
                {
                    Job job;
                    job.advance(state);
                    job.steps()[step]();
                },
                std::string("OxaMediaCodecPlayer\\.cpp:[0-9]+ CHECK\\(") + refusals[step] +
                        "\\) failed\\.")
                << "step " << step;
    }
    Job job;
    job.advance(state);
    EXPECT_EQ(job.player->setPlayback(true, false), OK);
    EXPECT_EQ(job.player->setTunneledPlayback(false), OK);
    EXPECT_EQ(job.player->setFreeRun(true), OK);
    EXPECT_EQ(job.player->setCalculateFPS(1), OK);
    if (state < kStepCount) {
        EXPECT_EQ(job.player->getPlaybackProgress(nullptr), BAD_VALUE);
        if (state != kStop) {
            EXPECT_EQ(job.player->stop(), OK) << "harmless";
        }
        EXPECT_EQ(job.steps()[state](), OK);
    }
}

// Before the first initiate there is no looper that would answer.
INSTANTIATE_TEST_SUITE_P(States, PlaybackStateTest, ::testing::Range(1, kStepCount + 1));

TEST(PlaybackTest, IsInitiatedAgainAfterCleanupInEveryState) {
    Job job;
    for (int state = 1; state <= kStepCount; ++state) {
        job.advance(state);
        EXPECT_EQ(job.player->cleanup(), OK) << "state " << state;
    }
}

TEST(PlaybackTest, ATunneledSessionIsNewForEachAndNoneForPicturesAlone) {
    for (int onlyTrack : {0, static_cast<int>(CODEC_VIDEO_ONLY)}) {
        Job job(kClip, onlyTrack);
        job.advance(kSource + 1);
        ASSERT_EQ(job.player->setTunneledPlayback(true), OK);
        LogCapture log;
        EXPECT_EQ(job.steps()[kSurface](), OK);
        EXPECT_EQ(job.steps()[kPrepare](), OK);
        EXPECT_EQ(job.steps()[kStart](), OK);
        ASSERT_TRUE(waitFor([&] { return job.display->pictures().size() >= 5; }));
        EXPECT_EQ(job.player->stop(), OK);
    }
}

// ---- Sound that waits for a first picture ------------------------------------------------------

class FirstPictureTest : public ::testing::Test {
  protected:
    FirstPictureTest() {
        static const bool installed = [] {
            ScriptedComponent::standInFor(kScriptedType);
            return true;
        }();
        (void)installed;
        ScriptedComponent::sStartResult = OK;
        mJob.advance(kPrepare + 1);
    }
    ~FirstPictureTest() override {
        if (mStarted.valid()) {
            EXPECT_EQ(mStarted.get(), OK);
        }
    }
    // Starts without a picture; the start waits then.
    void startAndWait() {
        mStarted = std::async(std::launch::async, [this] { return mJob.player->start(); });
        ASSERT_TRUE(waitFor([&] { return mLog.contains(kTag, "start video playback"); }));
        EXPECT_FALSE(mLog.contains(kTag, "start audio playback"));
    }
    bool soundStarts() {
        return waitFor([&] { return mJob.progress().audioTimeUs >= 0; });
    }

    LogCapture mLog;
    Job mJob{kScriptedClip};
    std::future<status_t> mStarted;
};

TEST_F(FirstPictureTest, EndsTheWaitByItself) {
    startAndWait();
    EXPECT_TRUE(soundStarts());
}

TEST_F(FirstPictureTest, GivesTheSoundItsTimeBase) {
    startAndWait();
    ScriptedComponent::last()->offer(0, 0);
    EXPECT_TRUE(soundStarts());
    const int64_t startUs = mJob.progress().startTimeUs;
    EXPECT_GT(startUs, 0);
    EXPECT_LE(startUs, ALooper::GetNowUs());
}

TEST_F(FirstPictureTest, IsNotWaitedForAfterAnErrorOrTheEnd) {
    startAndWait();
    ScriptedComponent::last()->fail(UNKNOWN_ERROR, ACTION_CODE_FATAL);
    EXPECT_TRUE(soundStarts());
}

TEST_F(FirstPictureTest, IsNotWaitedForWhenTheClientStops) {
    startAndWait();
    const int64_t beginUs = ALooper::GetNowUs();
    EXPECT_EQ(mJob.player->stop(), OK);
    EXPECT_LT(ALooper::GetNowUs() - beginUs, 2500000) << "waits 3 s by itself";
}

// The other stream is played alone, and its end is the end.
TEST_F(FirstPictureTest, DoesNotMatterWhenTheDecoderDoesNotStart) {
    ScriptedComponent::sStartResult = NO_MEMORY;
    EXPECT_EQ(mJob.player->setFreeRun(true), OK);
    EXPECT_EQ(mJob.player->start(), OK);
    EXPECT_TRUE(waitFor([&] { return mJob.player->EOSReached(); }));
    EXPECT_EQ(mJob.player->stop(), OK);
}

}  // namespace
}  // namespace android
