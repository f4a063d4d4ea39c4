// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <media/AudioTrack.h>
#include <pthread.h>

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <numeric>
#include <thread>

#include "audio/SessionClock.h"
#include "codec/AvAudioDecoder.h"
#include "platform/audio/ManualOutput.h"
#include "platform/codec/AudioComponentDriver.h"
#include "platform/codec/FaultLog.h"
#include "support/Deadline.h"

namespace android {
namespace {

using namespace oxa::test;

constexpr uint32_t kRate = 48000;
constexpr size_t kRingFrames = kRate / 2;
// Silence at the start: what is pulled at a time, and a reserve, which grows with each underrun.
constexpr int64_t kReserveUs = 8000;
constexpr int64_t kMoreReserveUs = 1000;
constexpr int64_t kLeadUs = ManualOutput::kBlockUs + kReserveUs;
constexpr int64_t kLeadAfterUnderrunUs = kLeadUs + kMoreReserveUs;
constexpr size_t kDeviceBlock = 480;

sp<AudioTrack> newTrack(uint32_t channels = 1, uint32_t rate = kRate) {
    return new AudioTrack(AUDIO_STREAM_MUSIC, rate, AUDIO_FORMAT_PCM_16_BIT,
                          audio_channel_out_mask_from_count(channels));
}

// Samples that count up from `first`, never 0 (which is what silence looks like).
std::vector<int16_t> ramp(size_t count, size_t first = 0) {
    std::vector<int16_t> samples(count);
    for (size_t i = 0; i < count; ++i)
        samples[i] = static_cast<int16_t>(1 + (first + i) % 30000);
    return samples;
}

ssize_t write(const sp<AudioTrack>& track, const std::vector<int16_t>& samples,
              bool blocking = false) {
    return track->write(samples.data(), samples.size() * sizeof(int16_t), blocking);
}

// The frames that a full ring of a mono track lacks.
size_t room(const sp<AudioTrack>& track) {
    const ssize_t written = write(track, ramp(2 * track->frameCount()));
    return written == WOULD_BLOCK ? 0 : written / sizeof(int16_t);
}

uint32_t position(const sp<AudioTrack>& track) {
    uint32_t frames = 0xDEADBEEF;
    EXPECT_EQ(OK, track->getPosition(&frames));
    return frames;
}

bool isSilent(const std::vector<int16_t>& samples) {
    return std::all_of(samples.begin(), samples.end(), [](int16_t sample) { return sample == 0; });
}

class AudioTrackTest : public testing::Test {
  protected:
    ManualOutput mOutput;
};

struct Creation {
    const char* name;
    audio_stream_type_t stream;
    uint32_t rate;
    audio_format_t format;
    audio_channel_mask_t mask;
    AudioTrack::transfer_type transfer;
    status_t result;
};

class AudioTrackCreation : public testing::TestWithParam<Creation> {};

TEST_P(AudioTrackCreation, IsAnsweredByInitCheckAndHarmlessWhenItFails) {
    ManualOutput output;
    const Creation& creation = GetParam();
    const sp<AudioTrack> track = new AudioTrack(
            creation.stream, creation.rate, creation.format, creation.mask, 0,
            AUDIO_OUTPUT_FLAG_NONE, nullptr, nullptr, 0, AUDIO_SESSION_ALLOCATE, creation.transfer);
    EXPECT_EQ(creation.result, track->initCheck());
    EXPECT_EQ(creation.result, track->start());
    EXPECT_EQ(creation.result != OK, track->stopped());
    if (creation.result == OK) return;
    uint32_t frames;
    EXPECT_EQ(creation.result, track->write("1234", 4));
    EXPECT_EQ(creation.result, track->getPosition(&frames));
    EXPECT_EQ(creation.result, track->setVolume(1));
    EXPECT_EQ(0u, track->latency());
    track->pause();
    track->flush();
    track->stop();
}

constexpr auto kPcm16 = AUDIO_FORMAT_PCM_16_BIT;
constexpr auto kStereo = AUDIO_CHANNEL_OUT_STEREO;
constexpr auto kDefault = AudioTrack::TRANSFER_DEFAULT;
INSTANTIATE_TEST_SUITE_P(
        All, AudioTrackCreation,
        testing::Values(
                Creation{"Stereo", AUDIO_STREAM_MUSIC, 44100, kPcm16, kStereo, kDefault, OK},
                Creation{"EightChannels", AUDIO_STREAM_MUSIC, 8000, kPcm16,
                         AUDIO_CHANNEL_OUT_7POINT1, AudioTrack::TRANSFER_SYNC, OK},
                Creation{"UsualRate", AUDIO_STREAM_DEFAULT, 0, kPcm16, kStereo, kDefault, OK},
                Creation{"TooManyChannels", AUDIO_STREAM_MUSIC, 48000, kPcm16,
                         AUDIO_CHANNEL_INVALID, kDefault, BAD_VALUE},
                Creation{"NoChannels", AUDIO_STREAM_MUSIC, 48000, kPcm16, AUDIO_CHANNEL_NONE,
                         kDefault, BAD_VALUE},
                Creation{"OtherFormat", AUDIO_STREAM_MUSIC, 48000, AUDIO_FORMAT_PCM_FLOAT, kStereo,
                         kDefault, BAD_VALUE},
                Creation{"OtherStream", static_cast<audio_stream_type_t>(99), 48000, kPcm16,
                         kStereo, kDefault, BAD_VALUE},
                Creation{"RateTooHigh", AUDIO_STREAM_MUSIC, 10000000, kPcm16, kStereo, kDefault,
                         BAD_VALUE},
                Creation{"CallbackModeWithoutCallback", AUDIO_STREAM_MUSIC, 48000, kPcm16, kStereo,
                         AudioTrack::TRANSFER_CALLBACK, BAD_VALUE},
                Creation{"ObtainMode", AUDIO_STREAM_MUSIC, 48000, kPcm16, kStereo,
                         AudioTrack::TRANSFER_OBTAIN, INVALID_OPERATION}),
        [](const auto& info) { return info.param.name; });

TEST_F(AudioTrackTest, CannotBeMadeWithoutAnOutputOrFromSharedMemory) {
    mOutput.refuseToOpen();
    EXPECT_EQ(NO_INIT, newTrack()->initCheck());
    const sp<AudioTrack> shared =
            new AudioTrack(AUDIO_STREAM_MUSIC, kRate, kPcm16, kStereo, sp<IMemory>());
    EXPECT_EQ(INVALID_OPERATION, shared->initCheck());
    EXPECT_EQ(INVALID_OPERATION, shared->start());
}

TEST_F(AudioTrackTest, SaysWhatItIs) {
    mOutput.setLatencyUs(21000);
    const sp<AudioTrack> stereo = newTrack(2);
    EXPECT_EQ(2u, stereo->channelCount());
    EXPECT_EQ(4u, stereo->frameSize());
    EXPECT_EQ(kRingFrames, stereo->frameCount());
    EXPECT_EQ(521u, stereo->latency());
    EXPECT_GT(stereo->getSessionId(), 0);
    EXPECT_NE(stereo->getSessionId(), newTrack()->getSessionId());

    // Two decoder buffers, also where they are longer than half a second; a larger wish counts.
    size_t frames = 0;
    EXPECT_EQ(OK, AudioTrack::getMinFrameCount(&frames, AUDIO_STREAM_MUSIC, 4000));
    EXPECT_EQ(4096u, frames);
    EXPECT_EQ(4096u, newTrack(1, 4000)->frameCount());
    EXPECT_EQ(BAD_VALUE, AudioTrack::getMinFrameCount(nullptr, AUDIO_STREAM_MUSIC, kRate));
    const sp<AudioTrack> large = new AudioTrack(AUDIO_STREAM_MUSIC, kRate, kPcm16, kStereo, 100000);
    EXPECT_EQ(100000u, large->frameCount());
}

enum class Reach { kFresh, kActive, kPaused, kFlushed, kStopped };

struct StateRow {
    const char* name;
    Reach reach;
    status_t start;
    bool stopped;
    bool flushDrops;  // with a full ring
    bool stopEmpties;
};

class AudioTrackState : public testing::TestWithParam<StateRow> {
  protected:
    // A track in the row's state with a full ring.
    sp<AudioTrack> reach() {
        sp<AudioTrack> track = newTrack();
        const status_t started = GetParam().reach == Reach::kFresh ? OK : track->start();
        EXPECT_EQ(OK, started);
        if (GetParam().reach == Reach::kPaused) track->pause();
        if (GetParam().reach == Reach::kStopped) track->stop();
        if (GetParam().reach == Reach::kFlushed) {
            track->pause();
            track->flush();
        }
        EXPECT_EQ(kRingFrames, room(track));
        return track;
    }

    ManualOutput mOutput;
};

TEST_P(AudioTrackState, AnswersStart) {
    const sp<AudioTrack> track = reach();
    EXPECT_EQ(GetParam().stopped, track->stopped());
    EXPECT_EQ(!GetParam().stopped, mOutput.running());
    EXPECT_EQ(GetParam().start, track->start());
    EXPECT_FALSE(track->stopped());
    EXPECT_TRUE(mOutput.running());
}

TEST_P(AudioTrackState, AnswersFlush) {
    const sp<AudioTrack> track = reach();
    track->flush();
    EXPECT_EQ(GetParam().stopped, track->stopped());
    EXPECT_EQ(GetParam().flushDrops ? kRingFrames : 0, room(track));
}

TEST_P(AudioTrackState, AnswersPause) {
    const sp<AudioTrack> track = reach();
    track->pause();
    EXPECT_TRUE(track->stopped());
    EXPECT_FALSE(mOutput.running());
    // Whoever asks a track without a listener to block does not wait.
    EXPECT_EQ(WOULD_BLOCK, write(track, ramp(1), true));
}

TEST_P(AudioTrackState, AnswersStop) {
    const sp<AudioTrack> track = reach();
    // An active track plays what it has.
    std::thread stopper([&] { track->stop(); });
    if (GetParam().reach == Reach::kActive) {
        EXPECT_TRUE(waitFor([&] {
            mOutput.pull(kRingFrames, monotonicUs());
            return !mOutput.running();
        }));
    }
    stopper.join();
    EXPECT_TRUE(track->stopped());
    EXPECT_FALSE(mOutput.running());
    EXPECT_EQ(GetParam().stopEmpties ? kRingFrames : 0, room(track));
    EXPECT_EQ(OK, track->start());
}

INSTANTIATE_TEST_SUITE_P(
        All, AudioTrackState,
        testing::Values(StateRow{"Fresh", Reach::kFresh, OK, true, true, false},
                        StateRow{"Active", Reach::kActive, INVALID_OPERATION, false, false, true},
                        StateRow{"Paused", Reach::kPaused, OK, true, true, true},
                        StateRow{"Flushed", Reach::kFlushed, OK, true, true, false},
                        StateRow{"Stopped", Reach::kStopped, OK, true, true, false}),
        [](const auto& info) { return info.param.name; });

TEST_F(AudioTrackTest, StaysAsItIsWhenTheOutputDoesNotStart) {
    const sp<AudioTrack> track = newTrack();
    mOutput.setStartResult(-EIO);
    EXPECT_EQ(-EIO, track->start());
    EXPECT_TRUE(track->stopped());
    EXPECT_EQ(kRingFrames, room(track));
    EXPECT_EQ(WOULD_BLOCK, write(track, ramp(1), true));
    mOutput.setStartResult(OK);
    EXPECT_EQ(OK, track->start());
}

TEST_F(AudioTrackTest, TakesWholeFramesUntilTheRingIsFull) {
    const sp<AudioTrack> track = newTrack(2);
    EXPECT_EQ(BAD_VALUE, track->write(nullptr, 4));
    EXPECT_EQ(BAD_VALUE, track->write("", SIZE_MAX));
    EXPECT_EQ(0, track->write(nullptr, 0));
    EXPECT_EQ(0, track->write("123", 3));
    EXPECT_EQ(4, track->write("1234567", 7));
    ASSERT_EQ(OK, track->start());
    const std::vector<int16_t> samples = ramp(2 * kRingFrames);
    EXPECT_EQ(static_cast<ssize_t>((kRingFrames - 1) * 4), write(track, samples));
    EXPECT_EQ(WOULD_BLOCK, write(track, samples));
    mOutput.pullSound(100);
    EXPECT_EQ(400, write(track, samples));
}

TEST_F(AudioTrackTest, BlocksUntilAllIsTakenAndKeepsTheOrder) {
    const sp<AudioTrack> track = newTrack(2);
    ASSERT_EQ(OK, track->start());
    const std::vector<int16_t> samples = ramp(5 * kRingFrames);
    std::atomic<bool> done{false};
    std::thread writer([&] {
        EXPECT_EQ(static_cast<ssize_t>(samples.size() * 2), write(track, samples, true));
        done = true;
    });
    std::vector<int16_t> heard;
    const Deadline deadline;
    while (heard.size() < samples.size() && !deadline.passed()) {
        std::vector<int16_t> block = mOutput.pullSound(333);
        // What was silent is not the writer's.
        block.erase(std::remove(block.begin(), block.end(), 0), block.end());
        heard.insert(heard.end(), block.begin(), block.end());
    }
    writer.join();
    EXPECT_TRUE(done);
    EXPECT_EQ(samples, heard);
}

TEST_F(AudioTrackTest, LetsABlockedWriterGoWhenItIsPaused) {
    const sp<AudioTrack> track = newTrack();
    ASSERT_EQ(OK, track->start());
    ASSERT_EQ(kRingFrames, room(track));
    ssize_t written = 0;
    std::thread writer([&] { written = write(track, ramp(3000), true); });
    mOutput.pullSound(1000);
    ASSERT_TRUE(waitFor([&] {
        mOutput.pullSound(0);
        return room(track) == 0;
    }));
    track->pause();
    writer.join();
    EXPECT_TRUE(written == WOULD_BLOCK || written <= 2000) << written;
}

int64_t silentFrames(const std::vector<int16_t>& samples) {
    const auto sound = std::find_if(samples.begin(), samples.end(),
                                    [](int16_t sample) { return sample != 0; });
    return sound - samples.begin();
}

// The reserve of writers that bring each buffer when it is due: at the start, for data that was
// there before and for data that comes later, and after an underrun.
TEST_F(AudioTrackTest, BeginsWithSilence) {
    const sp<AudioTrack> track = newTrack();
    ASSERT_EQ(200, write(track, ramp(100)));
    const int64_t beforeStartUs = monotonicUs();
    ASSERT_EQ(OK, track->start());
    const int64_t afterStartUs = monotonicUs();
    const std::vector<int16_t> begin = mOutput.pull(kRate, beforeStartUs);
    EXPECT_GE(silentFrames(begin), kLeadUs * kRate / 1000000 - 1);
    EXPECT_LE(silentFrames(begin), (kLeadUs + afterStartUs - beforeStartUs) * kRate / 1000000 + 1);
    // Dry now, and for as long as nothing comes.
    EXPECT_TRUE(isSilent(mOutput.pull(kRate, beforeStartUs)));

    const int64_t beforeWriteUs = monotonicUs();
    ASSERT_EQ(200, write(track, ramp(100)));
    ASSERT_EQ(200, write(track, ramp(100, 100)));
    const int64_t afterWriteUs = monotonicUs();
    const std::vector<int16_t> again = mOutput.pull(kRate, beforeWriteUs);
    const int64_t silent = silentFrames(again);
    EXPECT_GE(silent, kLeadAfterUnderrunUs * kRate / 1000000 - 1);
    EXPECT_LE(silent, (kLeadAfterUnderrunUs + afterWriteUs - beforeWriteUs) * kRate / 1000000 + 1);
    EXPECT_EQ(ramp(200),
              std::vector<int16_t>(again.begin() + silent, again.begin() + silent + 200));
}

TEST_F(AudioTrackTest, TakesReserveBackWhileSoundIsInTime) {
    const sp<AudioTrack> track = newTrack();
    ASSERT_EQ(OK, track->start());
    ASSERT_EQ(20, write(track, ramp(10)));
    mOutput.pullSound(20);
    const int64_t soonUs = monotonicUs() + 60'000'000;
    for (int64_t afterUs : {0, 10'000, 20'000, 30'000, 40'000, 3'100'000}) {
        ASSERT_EQ(20, write(track, ramp(10)));
        mOutput.pull(10, soonUs + afterUs);
        EXPECT_TRUE(isSilent(mOutput.pull(10, soonUs + afterUs)));
    }
    const int64_t leadUs = kLeadUs + (5 - 3 + 1) * kMoreReserveUs;
    const int64_t beforeWriteUs = monotonicUs();
    ASSERT_EQ(200, write(track, ramp(100)));
    const int64_t afterWriteUs = monotonicUs();
    const int64_t silent = silentFrames(mOutput.pull(kRate, beforeWriteUs));
    EXPECT_GE(silent, leadUs * kRate / 1000000 - 1);
    EXPECT_LE(silent, (leadUs + afterWriteUs - beforeWriteUs) * kRate / 1000000 + 1);
}

// All that follows sound that came too late would be late as well.
TEST_F(AudioTrackTest, ShortensSoundThatIsLateAfterAnUnderrun) {
    constexpr size_t kPiece = 500;
    constexpr size_t kPieces = 10;
    const sp<AudioTrack> track = newTrack();
    ASSERT_EQ(OK, track->start());
    write(track, ramp(kPiece));
    mOutput.pullSound(kPiece / 2);
    mOutput.pullSound(kPiece);

    write(track, ramp(kPiece));
    mOutput.pullSound(1);  // and the next is taken in ten seconds
    size_t accepted = 0;
    for (size_t piece = 1; piece <= kPieces; ++piece)
        accepted += write(track, ramp(kPiece, piece * kPiece)) / sizeof(int16_t);
    EXPECT_EQ(kPieces * kPiece, accepted);
    const std::vector<int16_t> heard = mOutput.pullSound((kPieces + 1) * kPiece);
    const auto end = std::find(heard.begin(), heard.end(), 0);
    // Six pieces show that the writer is late; no piece loses more than half.
    EXPECT_EQ(kPieces * kPiece + kPiece - 1 - 5 * (kPiece / 2),
              static_cast<size_t>(end - heard.begin()));
    EXPECT_EQ((kPieces + 1) * kPiece, *(end - 1)) << "the end is lost";
    for (auto sample = heard.begin() + 1; sample != end; ++sample)
        ASSERT_LE(1, *sample - *(sample - 1)) << "at " << sample - heard.begin();
    EXPECT_LE(*std::max_element(heard.begin(), heard.end()), *(end - 1));
}

TEST_F(AudioTrackTest, CountsWhatWasHeard) {
    constexpr int64_t kHourUs = INT64_C(3600) * 1000000;
    const sp<AudioTrack> track = newTrack();
    EXPECT_EQ(BAD_VALUE, track->getPosition(nullptr));
    ASSERT_EQ(kRingFrames, room(track));
    EXPECT_EQ(0u, position(track));
    ASSERT_EQ(OK, track->start());
    mOutput.pullSound(100);
    EXPECT_EQ(0u, position(track)) << "pulled, but not heard before ten seconds";
    track->pause();
    EXPECT_EQ(100u, position(track));

    ASSERT_EQ(OK, track->start());
    mOutput.pullSound(1);  // past the silence
    mOutput.pull(899, monotonicUs() - kHourUs);
    track->pause();
    EXPECT_EQ(1000u, position(track)) << "goes on after a pause";
    track->flush();
    EXPECT_EQ(0u, position(track));

    ASSERT_EQ(kRingFrames, room(track));
    ASSERT_EQ(OK, track->start());
    mOutput.pullSound(1);
    mOutput.pull(2 * kRingFrames, monotonicUs() - kHourUs);
    track->pause();
    EXPECT_EQ(kRingFrames, position(track)) << "silence does not count";
    track->stop();
    EXPECT_EQ(0u, position(track));
}

TEST_F(AudioTrackTest, KeepsItsDataThroughAPauseAndDropsItInAFlush) {
    const sp<AudioTrack> track = newTrack();
    ASSERT_EQ(2000, write(track, ramp(1000)));
    ASSERT_EQ(OK, track->start());
    mOutput.pullSound(400);
    track->pause();
    ASSERT_EQ(OK, track->start());
    EXPECT_EQ(ramp(300, 400), mOutput.pullSound(300));
    track->pause();
    track->flush();
    ASSERT_EQ(OK, track->start());
    EXPECT_TRUE(isSilent(mOutput.pullSound(300)));
}

TEST_F(AudioTrackTest, AppliesTheVolume) {
    const sp<AudioTrack> track = newTrack();
    for (const float wrong : {-0.1f, 1.1f, std::nanf("")}) {
        EXPECT_EQ(BAD_VALUE, track->setVolume(wrong)) << wrong;
    }
    ASSERT_EQ(OK, track->start());
    ASSERT_EQ(80, write(track, std::vector<int16_t>(40, -20000)));
    for (const float volume : {1.0f, 0.5f, 0.25f, 0.0f}) {
        ASSERT_EQ(OK, track->setVolume(volume));
        const auto expected = static_cast<int16_t>(-20000 * volume);
        EXPECT_EQ(std::vector<int16_t>(10, expected), mOutput.pullSound(10));
    }
}

TEST_F(AudioTrackTest, StopWaitsUntilTheRingHasPlayed) {
    constexpr int64_t kLongUs = 300000;
    mOutput.setLatencyUs(5000000);  // stop() waits as much longer for it
    const sp<AudioTrack> track = newTrack();
    ASSERT_EQ(OK, track->start());
    ASSERT_EQ(2000, write(track, ramp(1000)));
    mOutput.pullSound(1);
    std::atomic<bool> returned{false};
    std::thread stopper([&] {
        track->stop();
        returned = true;
    });
    ASSERT_TRUE(waitFor([&] { return track->stopped(); }));
    ASSERT_TRUE(waitFor([&] { return write(track, ramp(1)) == WOULD_BLOCK; }))
            << "takes no more data while it stops";
    EXPECT_EQ(ramp(499, 1), mOutput.pull(499, monotonicUs()));
    EXPECT_FALSE(returned);
    EXPECT_TRUE(mOutput.running());
    // The last frame is heard some time after it was pulled.
    const int64_t heardAtUs = monotonicUs() + kLongUs;
    const std::vector<int16_t> rest = mOutput.pull(600, heardAtUs);
    EXPECT_EQ(ramp(500, 500), std::vector<int16_t>(rest.begin(), rest.begin() + 500));
    stopper.join();
    EXPECT_GE(monotonicUs(), heardAtUs);
    EXPECT_FALSE(mOutput.running());
    EXPECT_EQ(0u, position(track));
    EXPECT_EQ(OK, track->start());
}

// Neither the writer nor stop() may hang on a device that has died; the client is told once.
TEST_F(AudioTrackTest, DoesNotHangOnAnOutputThatDies) {
    const FaultLog log;
    const sp<AudioTrack> track = newTrack();
    ASSERT_EQ(OK, track->start());
    ASSERT_EQ(kRingFrames, room(track));
    EXPECT_EQ(WOULD_BLOCK, write(track, ramp(10), true));
    ASSERT_EQ(1u, log.faults().size());
    EXPECT_EQ(oxa::host::FaultSource::kSound, log.faults()[0].source);

    // It recovers: writers wait for it again.
    mOutput.pullSound(5);
    std::thread output([this] { mOutput.pullSound(5); });
    EXPECT_EQ(20, write(track, ramp(10), true));
    output.join();

    track->stop();
    EXPECT_TRUE(track->stopped());
    EXPECT_EQ(kRingFrames, room(track));
    EXPECT_EQ(1u, log.faults().size());
}

TEST_F(AudioTrackTest, MovesTheClockOfItsSession) {
    constexpr int64_t kFirstUs = 7000000;
    const auto session = static_cast<audio_session_t>(
            AudioSystem::newAudioUniqueId(AUDIO_UNIQUE_ID_USE_SESSION));
    const auto hwSync = static_cast<int32_t>(AudioSystem::getAudioHwSyncForSession(session));
    const sp<SessionClock> clock = SessionClock::forHwSync(hwSync);

    // The decoder of the session says where the sound begins.
    AudioComponentDriver decoder(createAvAudioDecoder("audio/raw"));
    const sp<AMessage> format = new AMessage;
    format->setString("mime", "audio/raw");
    format->setInt32("channel-count", 1);
    format->setInt32("sample-rate", kRate);
    format->setInt32("audio-hw-sync", hwSync);
    ASSERT_EQ(OK, decoder.start(format));
    const std::vector<int16_t> sound = ramp(4800);
    for (const int64_t timeUs : {kFirstUs, kFirstUs + 100000}) {
        ASSERT_TRUE(decoder.queue(sound.data(), sound.size() * sizeof(int16_t), timeUs));
    }
    ASSERT_TRUE(decoder.queueEnd());
    ASSERT_TRUE(decoder.waitForEnd());

    const sp<AudioTrack> track =
            new AudioTrack(AUDIO_STREAM_MUSIC, kRate, kPcm16, AUDIO_CHANNEL_OUT_MONO, 0,
                           AUDIO_OUTPUT_FLAG_NONE, nullptr, nullptr, 0, session);
    EXPECT_EQ(session, track->getSessionId());
    ASSERT_EQ(OK, track->start());
    const int64_t nowUs = monotonicUs();
    mOutput.pull(kDeviceBlock, nowUs);
    EXPECT_EQ(SessionClock::kNotRunning, clock->mediaTimeUs(nowUs, 0)) << "silence is no sound";
    ASSERT_EQ(2 * 2 * 480, write(track, ramp(2 * 480)));
    const int64_t heardAtUs = monotonicUs() + 1000000;
    mOutput.pull(480, heardAtUs);
    mOutput.pull(480, heardAtUs + 10000);
    EXPECT_EQ(kFirstUs, clock->mediaTimeUs(heardAtUs, 0));
    EXPECT_EQ(kFirstUs + 20000, clock->mediaTimeUs(heardAtUs + 20000, 0));
}

// A client in callback mode that delivers a ramp.
class Deliverer {
  public:
    static void onEvent(int event, void* user, void* info) {
        static_cast<Deliverer*>(user)->handle(event, static_cast<AudioTrack::Buffer*>(info));
    }

    // How many bytes a request gets; nothing at all when 0.
    using Rule = std::function<size_t(size_t offered)>;
    void setRule(Rule rule) {
        std::lock_guard<std::mutex> lock(mLock);
        mRule = std::move(rule);
    }

    int requests() const { return mRequests; }
    int underruns() const { return mUnderruns; }
    int others() const { return mOthers; }
    bool sequenceRises() const { return mSequenceRises; }
    std::string threadName() const {
        std::lock_guard<std::mutex> lock(mLock);
        return mThreadName;
    }

  private:
    void handle(int event, AudioTrack::Buffer* buffer) {
        if (event == AudioTrack::EVENT_MORE_DATA) {
            deliver(buffer);
        } else if (event == AudioTrack::EVENT_UNDERRUN && buffer == nullptr) {
            ++mUnderruns;
        } else {
            ++mOthers;
        }
    }

    void deliver(AudioTrack::Buffer* buffer) {
        char name[16] = {};
        pthread_getname_np(pthread_self(), name, sizeof(name));
        std::lock_guard<std::mutex> lock(mLock);
        mThreadName = name;
        mSequenceRises = mSequenceRises && buffer->sequence > mSequence;
        mSequence = buffer->sequence;
        const size_t bytes = mRule(buffer->size);
        const std::vector<int16_t> samples =
                ramp(std::min(bytes, buffer->size) / sizeof(int16_t), mDelivered);
        std::copy(samples.begin(), samples.end(), buffer->i16);
        mDelivered += samples.size();
        buffer->size = bytes;
        ++mRequests;
    }

    mutable std::mutex mLock;
    Rule mRule = [](size_t offered) { return offered; };  // guarded by mLock
    std::string mThreadName;                              // guarded by mLock
    size_t mDelivered = 0;                                // guarded by mLock
    uint32_t mSequence = 0;                               // guarded by mLock
    std::atomic<bool> mSequenceRises{true};
    std::atomic<int> mRequests{0};
    std::atomic<int> mUnderruns{0};
    std::atomic<int> mOthers{0};
};

class AudioTrackCallback : public AudioTrackTest {
  protected:
    sp<AudioTrack> newCallbackTrack() {
        return new AudioTrack(AUDIO_STREAM_MUSIC, kRate, kPcm16, AUDIO_CHANNEL_OUT_MONO, 0,
                              AUDIO_OUTPUT_FLAG_NONE, Deliverer::onEvent, &mDeliverer);
    }

    // Pulls until `frames` frames of sound came out.
    std::vector<int16_t> hear(size_t frames) {
        std::vector<int16_t> heard;
        const Deadline deadline;
        while (heard.size() < frames && !deadline.passed()) {
            std::vector<int16_t> block = mOutput.pullSound(std::min<size_t>(97, frames));
            block.erase(std::remove(block.begin(), block.end(), 0), block.end());
            heard.insert(heard.end(), block.begin(), block.end());
        }
        return heard;
    }

    Deliverer mDeliverer;  // before the tracks of the tests
};

TEST_F(AudioTrackCallback, AsksWhileItIsActiveAndPlaysInOrder) {
    const sp<AudioTrack> track = newCallbackTrack();
    ASSERT_EQ(OK, track->initCheck());
    EXPECT_EQ(kRate / 10, track->frameCount());
    EXPECT_EQ(INVALID_OPERATION, track->write("12", 2));
    // Nothing, parts, and whole buffers.
    mDeliverer.setRule([count = 0](size_t offered) mutable {
        ++count;
        return count % 3 == 0 ? 0 : count % 3 == 1 ? offered : size_t{200};
    });
    EXPECT_EQ(0, mDeliverer.requests());
    ASSERT_EQ(OK, track->start());
    std::vector<int16_t> heard = hear(10000);
    EXPECT_EQ(ramp(heard.size()), heard);
    track->pause();
    ASSERT_EQ(OK, track->start());
    const std::vector<int16_t> after = hear(10000);
    EXPECT_EQ(ramp(after.size(), heard.size()), after);
    EXPECT_EQ("AudioTrack", mDeliverer.threadName());
    EXPECT_TRUE(mDeliverer.sequenceRises());
    EXPECT_EQ(0, mDeliverer.others());
}

TEST_F(AudioTrackCallback, TellsOfEachUnderrunOnce) {
    const sp<AudioTrack> track = newCallbackTrack();
    ASSERT_EQ(OK, track->start());
    for (int underruns = 1; underruns <= 3; ++underruns) {
        mDeliverer.setRule([](size_t offered) { return offered; });
        ASSERT_GE(hear(500).size(), 500u);
        mDeliverer.setRule([](size_t) { return 0; });
        ASSERT_TRUE(waitFor([&] {
            mOutput.pullSound(1000);
            return mDeliverer.underruns() == underruns;
        }));
        const int requests = mDeliverer.requests();
        ASSERT_TRUE(waitFor([&] {
            mOutput.pullSound(1000);
            return mDeliverer.requests() >= requests + 3;
        }));
        EXPECT_EQ(underruns, mDeliverer.underruns());
    }
}

TEST_F(AudioTrackCallback, DoesNotTellOfTheEndAtStop) {
    sp<AudioTrack> track = newCallbackTrack();
    ASSERT_EQ(OK, track->start());
    ASSERT_GE(hear(500).size(), 500u);
    std::thread stopper([&] { track->stop(); });
    ASSERT_TRUE(waitFor([&] {
        mOutput.pull(1000, monotonicUs());
        return !mOutput.running();
    }));
    stopper.join();
    track.clear();
    EXPECT_EQ(0, mDeliverer.underruns());
}

TEST_F(AudioTrackCallback, NeverAsksAgainACallbackThatClaimsTooMuch) {
    sp<AudioTrack> track = newCallbackTrack();
    mDeliverer.setRule([](size_t offered) { return offered + 1; });
    ASSERT_EQ(OK, track->start());
    ASSERT_TRUE(waitFor([&] { return mDeliverer.requests() == 1; }));
    EXPECT_TRUE(isSilent(mOutput.pullSound(kRate)));
    track.clear();
    EXPECT_EQ(1, mDeliverer.requests());
}

using AudioTrackDeathTest = AudioTrackCallback;

sp<AudioTrack> gLastReference;

TEST_F(AudioTrackDeathTest, MustNotBeDestroyedByItsCallback) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
            {
                gLastReference = new AudioTrack(AUDIO_STREAM_MUSIC, kRate, kPcm16,
                                                AUDIO_CHANNEL_OUT_MONO, 0, AUDIO_OUTPUT_FLAG_NONE,
                                                [](int, void*, void*) { gLastReference.clear(); });
                gLastReference->start();
                waitFor([] { return false; });
            },
            "dropped the last reference");
}

}  // namespace
}  // namespace android
