// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <media/AudioSystem.h>
#include <oxa/host/Display.h>
#include <utils/Timers.h>

#include "base/SessionClock.h"
#include "support/PlayJob.h"
#include "support/Test.h"

namespace oxa::test {
namespace {

using namespace android;

// In a session whose sound is at a time of the test's choice, pictures that the sound has passed by
// more than 30 ms are not shown; the next ones are, none of them early. The end is one error.
TEST(TunneledPlayTest, dropsPicturesThatAreLateAndEndsWithAnError) {
    constexpr int64_t kAheadUs = 1010000;
    const auto display = host::createRecordingDisplay();
    ClipOptions clip;
    clip.seconds = 2;
    clip.audio = false;
    // With pictures that are shown in another order than they are stored.
    clip.videoArguments = {"-bf", "2"};
    const int32_t session = AudioSystem::newAudioUniqueId(AUDIO_UNIQUE_ID_USE_SESSION);
    PlayJobOptions options;
    options.path = testClip(clip);
    options.producer = display->producer();
    options.hwSync = AudioSystem::getAudioHwSyncForSession(static_cast<audio_session_t>(session));
    const sp<SessionClock> clock = SessionClock::forHwSync(options.hwSync);
    PlayJob job(options);
    const int64_t soundUs = systemTime(SYSTEM_TIME_MONOTONIC) / 1000;
    clock->setFirstTimeUs(kAheadUs);
    clock->onSoundHeard(1, 48000, soundUs);
    ASSERT_TRUE(job.start());
    ASSERT_TRUE(job.waitForEnd());
    job.decoder().settle();
    const CodecClient::Events events = job.decoder().events();
    EXPECT_EQ(CodecClient::countOf(events, MediaCodec::CB_OUTPUT_AVAILABLE), 0U);
    EXPECT_EQ(CodecClient::countOf(events, MediaCodec::CB_ERROR), 1U);
    EXPECT_EQ(events.back().err, -11);
    const std::vector<host::RecordedPicture> pictures = display->pictures();
    ASSERT_FALSE(pictures.empty());
    EXPECT_GE(pictures[0].mediaTimeUs, kAheadUs - 30000);
    EXPECT_LE(pictures.size(), 26U);
    for (const host::RecordedPicture& picture : pictures) {
        EXPECT_GE(picture.timestampNs / 1000 - soundUs, picture.mediaTimeUs - kAheadUs);
        EXPECT_LE(picture.timestampNs / 1000, picture.arrivalUs);
    }
}

}  // namespace
}  // namespace oxa::test
