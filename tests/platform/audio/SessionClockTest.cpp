// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "base/SessionClock.h"
#include "support/Test.h"

#include <media/AudioSystem.h>

namespace android {
namespace {

constexpr int64_t kNow = 1000000000;  // some monotonic time
constexpr int64_t kSecond = 1000000;
constexpr int kRate = 48000;
constexpr int kBlock = 480;  // frames
constexpr int64_t kBlockUs = 10000;

int32_t newHwSync() {
    const auto session = AudioSystem::newAudioUniqueId(AUDIO_UNIQUE_ID_USE_SESSION);
    return static_cast<int32_t>(
            AudioSystem::getAudioHwSyncForSession(static_cast<audio_session_t>(session)));
}

// Reports blocks that are heard one after the other from `fromUs` until `untilUs`.
void play(const sp<SessionClock>& clock, int64_t fromUs, int64_t untilUs) {
    for (int64_t timeUs = fromUs; timeUs < untilUs; timeUs += kBlockUs)
        clock->onSoundHeard(kBlock, kRate, timeUs);
}

// Reads every `stepUs` and checks that time is continuous: never backward, and never faster than
// twice the monotonic clock. Returns the last reading.
int64_t readThrough(const sp<SessionClock>& clock, int64_t fromUs, int64_t untilUs,
                    int64_t stepUs = 1000) {
    int64_t lastUs = clock->mediaTimeUs(fromUs, 0);
    for (int64_t nowUs = fromUs + stepUs; nowUs <= untilUs; nowUs += stepUs) {
        const int64_t timeUs = clock->mediaTimeUs(nowUs, 0);
        EXPECT_GE(timeUs, lastUs) << "at " << nowUs - kNow;
        EXPECT_LE(timeUs, lastUs + 2 * stepUs) << "at " << nowUs - kNow;
        lastUs = timeUs;
    }
    return lastUs;
}

TEST(SessionClock, isSharedByIdWhileSomebodyHoldsIt) {
    const int32_t id = newHwSync();
    sp<SessionClock> clock = SessionClock::forHwSync(id);
    EXPECT_EQ(clock, SessionClock::forHwSync(id));
    EXPECT_NE(clock, SessionClock::forHwSync(newHwSync()));
    for (const int32_t unknown : {0, -1, 1})
        EXPECT_NE(SessionClock::forHwSync(unknown), SessionClock::forHwSync(unknown)) << unknown;

    // A session that is over leaves nothing behind.
    clock->onSoundHeard(kBlock, kRate, kNow);
    clock.clear();
    EXPECT_EQ(SessionClock::forHwSync(id)->mediaTimeUs(kNow, 0), SessionClock::kNotRunning);
}

TEST(SessionClock, withoutSessionRunsFromItsFirstReading) {
    const sp<SessionClock> clock = SessionClock::forHwSync(0);
    EXPECT_EQ(clock->mediaTimeUs(kNow, 7 * kSecond), 7 * kSecond);
    // Later pictures do not matter, nor do readings in the past, as several threads make them.
    EXPECT_EQ(clock->mediaTimeUs(kNow + kSecond, 9 * kSecond), 8 * kSecond);
    EXPECT_EQ(clock->mediaTimeUs(kNow, 0), 8 * kSecond);
    EXPECT_EQ(clock->mediaTimeUs(kNow + kSecond + 1000, 0), 8 * kSecond + 1000);
}

TEST(SessionClock, followsTheSoundFromItsFirstTimeOn) {
    const sp<SessionClock> clock = SessionClock::forHwSync(newHwSync());
    clock->setFirstTimeUs(3 * kSecond);
    EXPECT_EQ(clock->mediaTimeUs(kNow, 3 * kSecond), SessionClock::kNotRunning);
    // Heard a little later: the pictures before it are due, the one of that moment is not.
    clock->onSoundHeard(kBlock, kRate, kNow + 5000);
    EXPECT_EQ(clock->mediaTimeUs(kNow, 3 * kSecond), 3 * kSecond - 5000);
    EXPECT_EQ(clock->mediaTimeUs(kNow + 5000, 3 * kSecond), 3 * kSecond);
    play(clock, kNow + 15000, kNow + kSecond + 5000);
    EXPECT_EQ(readThrough(clock, kNow + 5000, kNow + kSecond + 5000), 4 * kSecond);
    // A dry sound is extrapolated.
    EXPECT_EQ(readThrough(clock, kNow + kSecond + 5000, kNow + 11 * kSecond + 5000), 14 * kSecond);
}

TEST(SessionClock, countsFramesOfAllTracksOfTheSession) {
    const sp<SessionClock> clock = SessionClock::forHwSync(newHwSync());
    clock->setFirstTimeUs(kSecond);
    clock->onSoundHeard(48000, 48000, kNow);
    clock->onSoundHeard(44100, 44100, kNow + kSecond);
    clock->onSoundHeard(8000, 8000, kNow + 2 * kSecond);
    EXPECT_EQ(clock->mediaTimeUs(kNow + 3 * kSecond, 0), 4 * kSecond);
}

TEST(SessionClock, startsAnewWithADecoderThatStartsAnew) {
    const sp<SessionClock> clock = SessionClock::forHwSync(newHwSync());
    play(clock, kNow, kNow + kSecond);
    clock->setFirstTimeUs(60 * kSecond);
    clock->onSoundHeard(kBlock, kRate, kNow + kSecond);
    EXPECT_EQ(clock->mediaTimeUs(kNow + kSecond, 0), 60 * kSecond);
}

// Sound may come after the pictures have begun without it, or again after a break.
TEST(SessionClock, letsPicturesGoOnWithoutSoundAndMovesToItWithoutAJump) {
    constexpr int64_t kLimitUs = kNow + SessionClock::kSoundWaitUs;
    constexpr int64_t kSoundStartUs = kLimitUs + 2 * kSecond;
    // Where the sound is, against the running clock, when it is first heard.
    for (const int64_t soundUs : {300000, 1900000, -300000, -1900000, 0}) {
        SCOPED_TRACE(soundUs);
        const sp<SessionClock> clock = SessionClock::forHwSync(newHwSync());
        EXPECT_EQ(clock->mediaTimeUs(kNow, 5 * kSecond), SessionClock::kNotRunning);
        EXPECT_EQ(clock->mediaTimeUs(kLimitUs - 1, 5 * kSecond), SessionClock::kNotRunning);
        EXPECT_EQ(clock->mediaTimeUs(kLimitUs, 5 * kSecond), 5 * kSecond);
        ASSERT_EQ(readThrough(clock, kLimitUs, kSoundStartUs), 7 * kSecond);

        clock->setFirstTimeUs(7 * kSecond + soundUs);
        play(clock, kSoundStartUs, kSoundStartUs + 2 * kSecond);
        EXPECT_EQ(readThrough(clock, kSoundStartUs, kSoundStartUs + 2 * kSecond),
                  9 * kSecond + soundUs);
    }
}

TEST(SessionClock, holdsAfterABreakOfTheSoundUntilItHasCaughtUp) {
    const sp<SessionClock> clock = SessionClock::forHwSync(newHwSync());
    play(clock, kNow, kNow + kSecond);
    readThrough(clock, kNow, kNow + kSecond + 200000);
    // 200 ms were missing; the sound goes on where it stopped.
    const int64_t againUs = kNow + kSecond + 200000;
    play(clock, againUs, againUs + kSecond);
    EXPECT_EQ(readThrough(clock, againUs, againUs + 200000), 1200000);
    EXPECT_EQ(readThrough(clock, againUs + 200000, againUs + kSecond), 2 * kSecond);
}

// Devices call early and late: pictures must not stutter for it, and not drift away either.
TEST(SessionClock, smoothsTheJitterOfADevice) {
    constexpr int64_t kJitterUs = 8000;
    const sp<SessionClock> clock = SessionClock::forHwSync(newHwSync());
    int64_t largestUs = 0;
    int64_t nowUs = kNow;
    for (int block = 0; block < 1000; ++block) {
        clock->onSoundHeard(kBlock, kRate, nowUs + (block % 2 == 0 ? kJitterUs : -kJitterUs));
        const int64_t errorUs = clock->mediaTimeUs(nowUs, 0) - (nowUs - kNow);
        if (block > 100) largestUs = std::max(largestUs, std::abs(errorUs));
        nowUs += kBlockUs;
    }
    EXPECT_LT(largestUs, kJitterUs / 2);
}

}  // namespace
}  // namespace android
