// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <media/AudioSystem.h>
#include <oxa/host/Display.h>

#include <chrono>

#include "base/SessionClock.h"
#include "graphics/LocalBufferProducer.h"
#include "platform/codec/PlayJob.h"
#include "support/TestClips.h"

namespace oxa::test {
namespace {

using namespace android;
using host::RecordedPicture;

int64_t nowUs() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
}

// Shows a clip of two seconds, in a session whose sound is at a time of the test's choice.
class TunneledPlayTest : public testing::Test {
  protected:
    void SetUp() override {
        ClipOptions clip;
        clip.seconds = 2;
        clip.audio = false;
        // With pictures that are shown in another order than they are stored.
        clip.videoArguments = {"-bf", "2"};
        const int32_t session = AudioSystem::newAudioUniqueId(AUDIO_UNIQUE_ID_USE_SESSION);
        PlayJobOptions options;
        options.path = testClip(clip);
        options.producer = mDisplay->producer();
        options.tunneled = true;
        options.hwSync =
                AudioSystem::getAudioHwSyncForSession(static_cast<audio_session_t>(session));
        mClock = SessionClock::forHwSync(options.hwSync);
        mJob = std::make_unique<PlayJob>(options);
    }

    size_t countOf(int event) const {
        return CodecClient::countOf(mJob->decoder().events(), event);
    }

    const std::unique_ptr<host::RecordingDisplay> mDisplay = host::createRecordingDisplay();
    sp<SessionClock> mClock;
    std::unique_ptr<PlayJob> mJob;
};

// Stop ends the wait for a picture that is due much later, and gives the surface back.
TEST_F(TunneledPlayTest, StopsAtOnceWhileItWaits) {
    // The session's sound began a minute before the first picture.
    mClock->setFirstTimeUs(-60000000);
    mClock->onSoundHeard(1, 48000, nowUs());
    ASSERT_TRUE(mJob->start());
    // All inputs are taken or held back: the decoder waits with its first picture.
    ASSERT_TRUE(mJob->decoder().waitForCount(MediaCodec::CB_OUTPUT_FORMAT_CHANGED, 1));
    const int64_t beforeUs = nowUs();
    EXPECT_EQ(OK, mJob->decoder()->stop());
    EXPECT_LT(nowUs() - beforeUs, 10000000);
    EXPECT_EQ(0U, mDisplay->figures().shown);
    EXPECT_EQ(0U, countOf(MediaCodec::CB_ERROR));
    const sp<PictureQueue> queue = LocalBufferProducer::queueOf(mDisplay->producer());
    size_t free = 0;
    while (queue->tryReserve())
        ++free;
    EXPECT_EQ(PictureQueue::kDefaultPlaces, free);
}

// Pictures that the sound has passed by more than 30 ms are not shown; the next ones are, none of
// them early. The end is one error.
TEST_F(TunneledPlayTest, DropsPicturesThatAreLateAndEndsWithAnError) {
    constexpr int64_t kAheadUs = 1010000;
    const int64_t soundUs = nowUs();
    mClock->setFirstTimeUs(kAheadUs);
    mClock->onSoundHeard(1, 48000, soundUs);
    ASSERT_TRUE(mJob->start());
    ASSERT_TRUE(mJob->waitForEnd());
    mJob->decoder().settle();
    EXPECT_EQ(0U, countOf(MediaCodec::CB_OUTPUT_AVAILABLE));
    EXPECT_EQ(1U, countOf(MediaCodec::CB_ERROR));
    EXPECT_EQ(-11, mJob->decoder().events().back().err);
    const std::vector<RecordedPicture> pictures = mDisplay->pictures();
    ASSERT_FALSE(pictures.empty());
    EXPECT_GE(pictures[0].mediaTimeUs, kAheadUs - 30000);
    EXPECT_LE(pictures.size(), 26U);
    for (const RecordedPicture& picture : pictures) {
        EXPECT_GE(picture.arrivalUs - soundUs, picture.mediaTimeUs - kAheadUs);
    }
}

}  // namespace
}  // namespace oxa::test
