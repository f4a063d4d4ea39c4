// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <oxa/host/Display.h>
#include <oxa/host/SoundOutput.h>

#include <future>
#include <memory>
#include <string>
#include <vector>

#include "OxaMediaCodecPlayer.h"
#include "library/LogCapture.h"
#include "library/Steps.h"
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

enum State { kInitiate, kSource, kSurface, kPrepare, kStart, kStop, kStepCount };

// A player and what it needs to be taken to any state of a file playback.
class Job {
  public:
    static constexpr char kCheckedIn[] = "OxaMediaCodecPlayer.cpp:";

    explicit Job(const char* clip = kClip)
        : player(new OxaMediaCodecPlayer(true, 0)),
          display(oxa::host::createRecordingDisplay()),
          mClip(clip) {
        oxa::host::useNullSound();
    }
    ~Job() { player->cleanup(); }

    static std::vector<Step> steps(Job* job) {
        return {{[job] { return job->player->initiate(SourceTypeFile, true, false); },
                 refusalOf("mState == UNINITIALIZED")},
                {[job] { return job->player->setDataSource(mediaPath(job->mClip).c_str()); },
                 refusalOf("mState == INITIALIZED && mTranscodeType == SourceTypeFile")},
                {[job] { return job->player->setSurface(job->display->producer()); },
                 refusalOf("mState == WAIT_SURFACE")},
                {[job] { return job->player->prepare(); }, refusalOf("mState == UNPREPARED")},
                {[job] { return job->player->start(); }, refusalOf("mState == PREPARED")},
                {[job] { return job->player->stop(); }, ""}};
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

// Before the first initiate there is no looper that would answer.
TEST(PlaybackDeathTest, OnlyTheNextStepIsAccepted) {
    expectOnlyTheNextStepIsAccepted<Job>(kSource);
}

TEST(PlaybackTest, SwitchesAndStopAreHarmlessInEveryState) {
    for (size_t state = kSource; state <= kStepCount; ++state) {
        SCOPED_TRACE(state);
        Job job;
        advance(&job, state);
        EXPECT_EQ(job.player->setPlayback(true, false), OK);
        EXPECT_EQ(job.player->setTunneledPlayback(false), OK);
        EXPECT_EQ(job.player->setFreeRun(true), OK);
        EXPECT_EQ(job.player->setCalculateFPS(1), OK);
        EXPECT_EQ(job.player->getPlaybackProgress(nullptr), BAD_VALUE);
        if (state != kStop) {
            EXPECT_EQ(job.player->stop(), OK);
        }
        if (state < kStepCount) {
            EXPECT_EQ(take(&job, state), OK);
        }
    }
}

TEST(PlaybackTest, IsInitiatedAgainAfterCleanupInEveryState) {
    Job job;
    for (int state = 1; state <= kStepCount; ++state) {
        advance(&job, state);
        EXPECT_EQ(job.player->cleanup(), OK) << "state " << state;
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
        advance(&mJob, kStart);
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
