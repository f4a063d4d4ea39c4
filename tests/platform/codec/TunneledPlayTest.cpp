// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <media/AudioSystem.h>
#include <oxa/host/Display.h>

#include <algorithm>
#include <chrono>

#include "audio/SessionClock.h"
#include "graphics/PictureQueue.h"
#include "platform/codec/PlayJob.h"
#include "support/Deadline.h"
#include "support/TestClips.h"

namespace oxa::test {
namespace {

using namespace android;
using host::RecordedPicture;

constexpr int64_t kPictureUs = 40000;

std::string pictureClip(double seconds) {
    ClipOptions clip;
    clip.seconds = seconds;
    clip.audio = false;
    // With pictures that are shown in another order than they are stored.
    clip.videoArguments = {"-bf", "2"};
    return testClip(clip);
}

int64_t nowUs() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
}

class TunneledPlayTest : public testing::Test {
  protected:
    void makeJob(double seconds, int32_t hwSync = 0) {
        PlayJobOptions options;
        options.path = pictureClip(seconds);
        options.producer = mDisplay->producer();
        options.tunneled = true;
        options.hwSync = hwSync;
        mJob = std::make_unique<PlayJob>(options);
    }

    // The clock of a new session, whose pictures the job shows.
    sp<SessionClock> makeSessionJob(double seconds) {
        const int32_t session = AudioSystem::newAudioUniqueId(AUDIO_UNIQUE_ID_USE_SESSION);
        const int32_t hwSync =
                AudioSystem::getAudioHwSyncForSession(static_cast<audio_session_t>(session));
        makeJob(seconds, hwSync);
        return SessionClock::forHwSync(hwSync);
    }

    size_t countOf(int event) const {
        return CodecClient::countOf(mJob->decoder().events(), event);
    }

    const std::unique_ptr<host::RecordingDisplay> mDisplay = host::createRecordingDisplay();
    std::unique_ptr<PlayJob> mJob;
};

// No picture is early; which of them come, and in time, depends on the machine, but not their
// order, and not the end: one error, after which nothing comes and all calls are allowed.
TEST_F(TunneledPlayTest, PacesPicturesAndEndsWithAnError) {
    makeJob(2);
    ASSERT_TRUE(mJob->start());
    ASSERT_TRUE(mJob->waitForEnd());
    mJob->decoder().settle();
    EXPECT_EQ(0U, countOf(MediaCodec::CB_OUTPUT_AVAILABLE));
    ASSERT_EQ(1U, countOf(MediaCodec::CB_ERROR));
    const CodecEvent end = mJob->decoder().events().back();
    EXPECT_EQ(MediaCodec::CB_ERROR, end.id);
    EXPECT_EQ(-11, end.err);
    EXPECT_EQ(OK, mJob->decoder()->stop());
    EXPECT_EQ(OK, mJob->decoder()->reset());
    EXPECT_EQ(OK, mJob->decoder()->release());

    const std::vector<RecordedPicture> pictures = mDisplay->pictures();
    ASSERT_GT(pictures.size(), 25U);
    ASSERT_LE(pictures.size(), 50U);
    EXPECT_EQ(0, pictures[0].mediaTimeUs);
    for (size_t i = 1; i < pictures.size(); ++i) {
        EXPECT_GT(pictures[i].mediaTimeUs, pictures[i - 1].mediaTimeUs);
        EXPECT_EQ(0, pictures[i].mediaTimeUs % kPictureUs);
        // Picture 0 may itself have been shown a little late.
        const int64_t passedUs = pictures[i].arrivalUs - pictures[0].arrivalUs;
        EXPECT_GT(passedUs, pictures[i].mediaTimeUs - 30000) << i;
    }
}

// Stop ends the wait for a picture that is due much later, and gives the surface back.
TEST_F(TunneledPlayTest, StopsAtOnceWhileItWaits) {
    const sp<SessionClock> clock = makeSessionJob(2);
    // The session's sound began a minute before the first picture.
    clock->setFirstTimeUs(-60000000);
    clock->onSoundHeard(1, 48000, nowUs());
    ASSERT_TRUE(mJob->start());
    // All inputs are taken or held back: the decoder waits with its first picture.
    ASSERT_TRUE(mJob->decoder().waitForCount(MediaCodec::CB_OUTPUT_FORMAT_CHANGED, 1));
    const int64_t beforeUs = nowUs();
    EXPECT_EQ(OK, mJob->decoder()->stop());
    EXPECT_LT(nowUs() - beforeUs, 10000000);
    EXPECT_EQ(0U, mDisplay->figures().shown);
    EXPECT_EQ(0U, countOf(MediaCodec::CB_ERROR));
    const sp<PictureQueue> queue = mDisplay->producer()->pictureQueue();
    size_t free = 0;
    while (queue->tryReserve())
        ++free;
    EXPECT_EQ(PictureQueue::kDefaultPlaces, free);
}

// Pictures that the sound has passed by more than 30 ms are not shown; the next ones are.
TEST_F(TunneledPlayTest, DropsPicturesThatAreLate) {
    constexpr int64_t kAheadUs = 1010000;
    const sp<SessionClock> clock = makeSessionJob(2);
    clock->setFirstTimeUs(kAheadUs);
    clock->onSoundHeard(1, 48000, nowUs());
    ASSERT_TRUE(mJob->start());
    ASSERT_TRUE(mJob->waitForEnd());
    const std::vector<RecordedPicture> pictures = mDisplay->pictures();
    ASSERT_FALSE(pictures.empty());
    EXPECT_GE(pictures[0].mediaTimeUs, kAheadUs - 30000);
    EXPECT_LE(pictures.size(), 26U);
}

// A session whose sound never comes: the monotonic clock takes over after its wait.
TEST_F(TunneledPlayTest, GoesOnWithoutTheSoundOfItsSession) {
    makeSessionJob(0.4);
    const int64_t startUs = nowUs();
    ASSERT_TRUE(mJob->start());
    ASSERT_TRUE(mJob->waitForEnd());
    ASSERT_TRUE(waitFor([&] { return mDisplay->figures().shown >= 1; }));
    const std::vector<RecordedPicture> pictures = mDisplay->pictures();
    EXPECT_EQ(0, pictures[0].mediaTimeUs);
    EXPECT_GE(pictures[0].arrivalUs - startUs, SessionClock::kSoundWaitUs);
    EXPECT_EQ(-11, mJob->decoder().events().back().err);
}

}  // namespace
}  // namespace oxa::test
