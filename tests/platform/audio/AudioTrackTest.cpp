// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <media/AudioTrack.h>
#include <oxa/host/SoundOutput.h>

#include "audio/SoundOutputChoice.h"
#include "base/Monotonic.h"
#include "support/FaultLog.h"
#include "support/Test.h"

namespace android {
namespace {

using namespace oxa::test;

// While it lives, new tracks get a sink whose clock is the test: sound is pulled when pull() is
// called, and heard when the test says so. For one track at a time, which must not outlive it.
class ManualOutput {
  public:
    // What the sink says that it pulls at a time.
    static constexpr int64_t kBlockUs = 12000;

    ManualOutput() {
        setSoundSinkFactory([this](const auto& format, SoundSource* source) {
            mChannels = format.channels;
            mSource = source;
            return std::make_unique<Sink>(this);
        });
    }
    ~ManualOutput() { oxa::host::useSoundDevice(); }

    bool running() const { return mRunning; }
    // Interleaved samples, the first frame of which is heard at `heardAtUs`.
    std::vector<int16_t> pull(size_t frames, int64_t heardAtUs) {
        std::vector<int16_t> samples(frames * mChannels, -1);
        mSource->fill(samples.data(), frames, heardAtUs);
        return samples;
    }
    // Heard so late that the silence at the start is over.
    std::vector<int16_t> pullSound(size_t frames) {
        constexpr int64_t kLateUs = 10000000;
        pull(0, 0);  // the silence counts from the first pull on
        return pull(frames, monotonicUs() + kLateUs);
    }

    // What the sink answers from now on.
    std::atomic<status_t> startResult{OK};
    std::atomic<int64_t> latencyUs{0};

  private:
    class Sink : public SoundSink {
      public:
        explicit Sink(ManualOutput* output) : mOutput(output) {}

        status_t open(const SoundFormat&, SoundSource*) override { return OK; }
        status_t start() override {
            mOutput->mRunning = mOutput->startResult == OK;
            return mOutput->startResult;
        }
        void stop() override { mOutput->mRunning = false; }
        int64_t latencyUs() const override { return mOutput->latencyUs; }
        int64_t blockUs() const override { return kBlockUs; }

      private:
        ManualOutput* const mOutput;
    };

    int mChannels = 0;
    SoundSource* mSource = nullptr;
    std::atomic<bool> mRunning{false};
};

constexpr uint32_t kRate = 48000;
constexpr size_t kRingFrames = kRate / 2;
// Silence at the start: what is pulled at a time, and a reserve, which grows with each underrun.
constexpr int64_t kReserveUs = 8000;
constexpr int64_t kMoreReserveUs = 1000;
constexpr int64_t kLeadUs = ManualOutput::kBlockUs + kReserveUs;

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
    EXPECT_EQ(track->getPosition(&frames), OK);
    return frames;
}

class AudioTrackTest : public testing::Test {
  protected:
    // Pulls until so many samples of sound, which is never 0, came out.
    std::vector<int16_t> hear(size_t count) {
        std::vector<int16_t> heard;
        const Deadline deadline;
        while (heard.size() < count && !deadline.passed()) {
            const std::vector<int16_t> block = mOutput.pullSound(97);
            std::remove_copy(block.begin(), block.end(), std::back_inserter(heard), 0);
        }
        return heard;
    }

    // Stops the track, which plays what it has.
    void playOut(const sp<AudioTrack>& track) {
        std::thread stopper([&] { track->stop(); });
        EXPECT_TRUE(waitFor([&] {
            mOutput.pull(1000, monotonicUs());
            return !mOutput.running();
        }));
        stopper.join();
    }

    // What is heard after a silence of `leadUs` from the moment at which `begin` makes sound.
    std::vector<int16_t> hearAfterSilence(int64_t leadUs, const std::function<void()>& begin) {
        const int64_t beforeUs = monotonicUs();
        begin();
        const int64_t afterUs = monotonicUs();
        const std::vector<int16_t> heard = mOutput.pull(kRate, beforeUs);
        const auto sound = std::find_if(heard.begin(), heard.end(),
                                        [](int16_t sample) { return sample != 0; });
        const int64_t silent = sound - heard.begin();
        EXPECT_GE(silent, leadUs * kRate / 1000000 - 1);
        EXPECT_LE(silent, (leadUs + afterUs - beforeUs) * kRate / 1000000 + 1);
        return {sound, heard.end()};
    }

    ManualOutput mOutput;
};

constexpr auto kMusic = AUDIO_STREAM_MUSIC;
constexpr auto kPcm16 = AUDIO_FORMAT_PCM_16_BIT;
constexpr auto kStereo = AUDIO_CHANNEL_OUT_STEREO;

TEST_F(AudioTrackTest, isAnsweredByInitCheckAndHarmlessWhenItFails) {
    constexpr auto kDefault = AudioTrack::TRANSFER_DEFAULT;
    for (const auto& [stream, rate, format, mask, transfer, result] :
         {std::tuple(int{kMusic}, 44100U, kPcm16, audio_channel_mask_t{kStereo}, kDefault, OK),
          {kMusic, 8000, kPcm16, AUDIO_CHANNEL_OUT_7POINT1, AudioTrack::TRANSFER_SYNC, OK},
          {AUDIO_STREAM_DEFAULT, 0, kPcm16, kStereo, kDefault, OK},
          {kMusic, 48000, kPcm16, AUDIO_CHANNEL_INVALID, kDefault, BAD_VALUE},
          {kMusic, 48000, kPcm16, AUDIO_CHANNEL_NONE, kDefault, BAD_VALUE},
          {kMusic, 48000, AUDIO_FORMAT_PCM_FLOAT, kStereo, kDefault, OK},
          {kMusic, 48000, AUDIO_FORMAT_DEFAULT, kStereo, kDefault, BAD_VALUE},
          {99, 48000, kPcm16, kStereo, kDefault, BAD_VALUE},
          {kMusic, 10000000, kPcm16, kStereo, kDefault, BAD_VALUE},
          {kMusic, 48000, kPcm16, kStereo, AudioTrack::TRANSFER_CALLBACK, BAD_VALUE},
          {kMusic, 48000, kPcm16, kStereo, AudioTrack::TRANSFER_OBTAIN, INVALID_OPERATION}}) {
        SCOPED_TRACE(testing::PrintToString(std::tuple(stream, rate, format, mask, transfer)));
        const sp<AudioTrack> track = new AudioTrack(
                static_cast<audio_stream_type_t>(stream), rate, format, mask, 0,
                AUDIO_OUTPUT_FLAG_NONE, nullptr, nullptr, 0, AUDIO_SESSION_ALLOCATE, transfer);
        EXPECT_EQ(track->initCheck(), result);
        EXPECT_EQ(track->start(), result);
        EXPECT_EQ(result != OK, track->stopped());
        if (result == OK) continue;
        uint32_t frames;
        EXPECT_EQ(track->write("1234", 4), result);
        EXPECT_EQ(track->getPosition(&frames), result);
        EXPECT_EQ(track->setVolume(1), result);
        EXPECT_EQ(track->latency(), 0u);
        track->pause();
        track->flush();
        track->stop();
    }
}

TEST_F(AudioTrackTest, cannotBeMadeWithoutAnOutputOrFromSharedMemory) {
    setSoundSinkFactory([](const auto&, SoundSource*) { return nullptr; });
    EXPECT_EQ(newTrack()->initCheck(), NO_INIT);
    const sp<AudioTrack> shared = new AudioTrack(kMusic, kRate, kPcm16, kStereo, sp<IMemory>());
    EXPECT_EQ(shared->initCheck(), INVALID_OPERATION);
    EXPECT_EQ(shared->start(), INVALID_OPERATION);
}

TEST_F(AudioTrackTest, saysHowMuchItHolds) {
    mOutput.latencyUs = 21000;
    const sp<AudioTrack> stereo = newTrack(2);
    EXPECT_EQ(stereo->frameCount(), kRingFrames);
    EXPECT_EQ(stereo->latency(), 521u);
    EXPECT_NE(stereo->getSessionId(), newTrack()->getSessionId());

    // Two decoder buffers, also where they are longer than half a second; a larger wish counts.
    size_t frames = 0;
    EXPECT_EQ(AudioTrack::getMinFrameCount(&frames, kMusic, 4000), OK);
    EXPECT_EQ(frames, 4096u);
    EXPECT_EQ(newTrack(1, 4000)->frameCount(), 4096u);
    EXPECT_EQ(AudioTrack::getMinFrameCount(nullptr, kMusic, kRate), BAD_VALUE);
    const sp<AudioTrack> large = new AudioTrack(kMusic, kRate, kPcm16, kStereo, 100000);
    EXPECT_EQ(large->frameCount(), 100000u);
}

enum class Reach { kFresh, kActive, kPaused, kFlushed, kStopped };

// A track in a state with a full ring.
sp<AudioTrack> reach(Reach state) {
    sp<AudioTrack> track = newTrack();
    EXPECT_EQ(state == Reach::kFresh ? OK : track->start(), OK);
    if (state == Reach::kPaused || state == Reach::kFlushed) track->pause();
    if (state == Reach::kFlushed) track->flush();
    if (state == Reach::kStopped) track->stop();
    EXPECT_EQ(room(track), kRingFrames);
    return track;
}

TEST_F(AudioTrackTest, answersEachCallInEachState) {
    for (const Reach state :
         {Reach::kFresh, Reach::kActive, Reach::kPaused, Reach::kFlushed, Reach::kStopped}) {
        SCOPED_TRACE(static_cast<int>(state));
        const bool active = state == Reach::kActive;
        sp<AudioTrack> track = reach(state);
        EXPECT_EQ(!active, track->stopped());
        EXPECT_EQ(active, mOutput.running());
        EXPECT_EQ(active ? INVALID_OPERATION : OK, track->start());
        EXPECT_FALSE(track->stopped());
        EXPECT_TRUE(mOutput.running());
        track.clear();

        track = reach(state);
        track->flush();
        EXPECT_EQ(!active, track->stopped());
        EXPECT_EQ(active ? 0 : kRingFrames, room(track));
        track.clear();

        track = reach(state);
        track->pause();
        EXPECT_TRUE(track->stopped());
        EXPECT_FALSE(mOutput.running());
        // Whoever asks a track without a listener to block does not wait.
        EXPECT_EQ(write(track, ramp(1), true), WOULD_BLOCK);
        track.clear();

        track = reach(state);
        playOut(track);
        EXPECT_TRUE(track->stopped());
        EXPECT_EQ(active || state == Reach::kPaused ? kRingFrames : 0, room(track));
        EXPECT_EQ(track->start(), OK);
    }
}

TEST_F(AudioTrackTest, staysAsItIsWhenTheOutputDoesNotStart) {
    const sp<AudioTrack> track = newTrack();
    mOutput.startResult = -EIO;
    EXPECT_EQ(track->start(), -EIO);
    EXPECT_TRUE(track->stopped());
    EXPECT_EQ(room(track), kRingFrames);
    EXPECT_EQ(write(track, ramp(1), true), WOULD_BLOCK);
    mOutput.startResult = OK;
    EXPECT_EQ(track->start(), OK);
}

TEST_F(AudioTrackTest, takesWholeFramesUntilTheRingIsFull) {
    const sp<AudioTrack> track = newTrack(2);
    EXPECT_EQ(track->write(nullptr, 4), BAD_VALUE);
    EXPECT_EQ(track->write("", SIZE_MAX), BAD_VALUE);
    EXPECT_EQ(track->write(nullptr, 0), 0);
    EXPECT_EQ(track->write("123", 3), 0);
    EXPECT_EQ(track->write("1234567", 7), 4);
    ASSERT_EQ(track->start(), OK);
    const std::vector<int16_t> samples = ramp(2 * kRingFrames);
    EXPECT_EQ(static_cast<ssize_t>((kRingFrames - 1) * 4), write(track, samples));
    EXPECT_EQ(write(track, samples), WOULD_BLOCK);
    mOutput.pullSound(100);
    EXPECT_EQ(write(track, samples), 400);
}

template <typename Sample>
void expectHeard(ManualOutput* output, audio_format_t format, const std::vector<Sample>& samples,
                 const std::vector<int16_t>& expected) {
    SCOPED_TRACE(format);
    const sp<AudioTrack> track = new AudioTrack(kMusic, kRate, format, kStereo);
    EXPECT_EQ(track->frameSize(), 2 * sizeof(Sample));
    ASSERT_EQ(track->start(), OK);
    // One byte more, from an odd address: whole frames count, wherever they lie.
    const size_t size = samples.size() * sizeof(Sample);
    std::vector<char> bytes(size + 2);
    memcpy(bytes.data() + 1, samples.data(), size);
    EXPECT_EQ(static_cast<ssize_t>(size), track->write(bytes.data() + 1, size + 1, false));
    EXPECT_EQ(output->pullSound(expected.size() / 2), expected);
}

TEST_F(AudioTrackTest, playsPcmOfEachFormat) {
    expectHeard<uint8_t>(&mOutput, AUDIO_FORMAT_PCM_8_BIT, {0, 1, 0x80, 0xFF},
                         {-32768, -32512, 0, 32512});
    expectHeard<int16_t>(&mOutput, AUDIO_FORMAT_PCM_16_BIT, {1, -32768, 32767, -2},
                         {1, -32768, 32767, -2});
    expectHeard<int32_t>(&mOutput, AUDIO_FORMAT_PCM_32_BIT, {INT32_MIN, -1, 0x12345678, INT32_MAX},
                         {-32768, -1, 0x1234, 32767});
    expectHeard<int32_t>(&mOutput, AUDIO_FORMAT_PCM_8_24_BIT, {-0x800001, -1, 0x1234FF, 0x800000},
                         {-32768, -1, 0x1234, 32767});
    using Packed = std::array<uint8_t, 3>;
    expectHeard<Packed>(&mOutput, AUDIO_FORMAT_PCM_24_BIT_PACKED,
                        {Packed{0, 0, 0x80}, {0xFF, 0xFF, 0xFF}, {9, 0x34, 0x12}, {0, 0, 0}},
                        {-32768, -1, 0x1234, 0});
    expectHeard<float>(&mOutput, AUDIO_FORMAT_PCM_FLOAT,
                       {-1, 0.25F, 1, 0.5F / 32768, 7, -7, NAN, -0.5F},
                       {-32768, 8192, 32767, 0, 32767, -32768, 0, -16384});
}

// What a callback gives is in the track's format too.
TEST_F(AudioTrackTest, asksTheCallbackForItsFormat) {
    const auto giveQuarter = [](int event, void*, void* info) {
        if (event != AudioTrack::EVENT_MORE_DATA) return;
        auto* buffer = static_cast<AudioTrack::Buffer*>(info);
        EXPECT_EQ(buffer->frameCount * sizeof(float), buffer->size);
        std::fill_n(static_cast<float*>(buffer->raw), buffer->frameCount, 0.25F);
    };
    const sp<AudioTrack> track =
            new AudioTrack(kMusic, kRate, AUDIO_FORMAT_PCM_FLOAT, AUDIO_CHANNEL_OUT_MONO, 0,
                           AUDIO_OUTPUT_FLAG_NONE, giveQuarter, nullptr);
    ASSERT_EQ(track->start(), OK);
    const std::vector<int16_t> heard = hear(1000);
    EXPECT_EQ(static_cast<ptrdiff_t>(heard.size()), std::count(heard.begin(), heard.end(), 8192));
}

TEST_F(AudioTrackTest, letsABlockedWriterGoWhenItIsPaused) {
    const sp<AudioTrack> track = reach(Reach::kActive);
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

// The reserve of writers that bring each buffer when it is due: at the start, for data that was
// there before and for data that comes later, and after an underrun.
TEST_F(AudioTrackTest, beginsWithSilence) {
    const sp<AudioTrack> track = newTrack();
    ASSERT_EQ(write(track, ramp(100)), 200);
    hearAfterSilence(kLeadUs, [&] { EXPECT_EQ(track->start(), OK); });
    // Dry now, and for as long as nothing comes.
    EXPECT_THAT(mOutput.pull(kRate, monotonicUs()), testing::Each(0));

    std::vector<int16_t> again = hearAfterSilence(kLeadUs + kMoreReserveUs, [&] {
        EXPECT_EQ(write(track, ramp(100)), 200);
        EXPECT_EQ(write(track, ramp(100, 100)), 200);
    });
    again.resize(200);
    EXPECT_EQ(ramp(200), again);
}

TEST_F(AudioTrackTest, takesReserveBackWhileSoundIsInTime) {
    const sp<AudioTrack> track = newTrack();
    ASSERT_EQ(track->start(), OK);
    ASSERT_EQ(write(track, ramp(10)), 20);
    mOutput.pullSound(20);
    const int64_t soonUs = monotonicUs() + 60'000'000;
    for (int64_t afterUs : {0, 10'000, 20'000, 30'000, 40'000, 3'100'000}) {
        ASSERT_EQ(write(track, ramp(10)), 20);
        mOutput.pull(10, soonUs + afterUs);
        EXPECT_THAT(mOutput.pull(10, soonUs + afterUs), testing::Each(0));
    }
    hearAfterSilence(kLeadUs + (5 - 3 + 1) * kMoreReserveUs,
                     [&] { EXPECT_EQ(write(track, ramp(100)), 200); });
}

// All that follows sound that came too late would be late as well.
TEST_F(AudioTrackTest, shortensSoundThatIsLateAfterAnUnderrun) {
    constexpr size_t kPiece = 500;
    constexpr size_t kPieces = 10;
    const sp<AudioTrack> track = newTrack();
    ASSERT_EQ(track->start(), OK);
    write(track, ramp(kPiece));
    mOutput.pullSound(kPiece / 2);
    mOutput.pullSound(kPiece);

    write(track, ramp(kPiece));
    mOutput.pullSound(1);  // and the next is taken in ten seconds
    size_t accepted = 0;
    for (size_t piece = 1; piece <= kPieces; ++piece)
        accepted += write(track, ramp(kPiece, piece * kPiece)) / sizeof(int16_t);
    EXPECT_EQ(accepted, kPieces * kPiece);
    const std::vector<int16_t> heard = mOutput.pullSound((kPieces + 1) * kPiece);
    const auto end = std::find(heard.begin(), heard.end(), 0);
    // Six pieces show that the writer is late; no piece loses more than half.
    EXPECT_EQ(static_cast<size_t>(end - heard.begin()),
              kPieces * kPiece + kPiece - 1 - 5 * (kPiece / 2));
    EXPECT_EQ(*(end - 1), (kPieces + 1) * kPiece) << "the end is lost";
    for (auto sample = heard.begin() + 1; sample != end; ++sample)
        ASSERT_LE(1, *sample - *(sample - 1)) << "at " << sample - heard.begin();
    EXPECT_LE(*std::max_element(heard.begin(), heard.end()), *(end - 1));
}

// And no more, whatever a large piece could spare.
TEST_F(AudioTrackTest, leavesOutNoMoreSoundThanIsLate) {
    constexpr uint32_t kSlow = 8000;
    constexpr size_t kLarge = 40 * kSlow;
    const sp<AudioTrack> track =
            new AudioTrack(kMusic, kSlow, kPcm16, AUDIO_CHANNEL_OUT_MONO, 2 * kLarge);
    ASSERT_EQ(track->start(), OK);
    write(track, ramp(20));
    mOutput.pullSound(10);
    mOutput.pullSound(20);

    write(track, ramp(10));
    mOutput.pullSound(1);  // and the next is taken in ten seconds
    for (int piece = 0; piece < 5; ++piece)
        write(track, ramp(10));
    write(track, ramp(kLarge));
    const std::vector<int16_t> heard = mOutput.pullSound(2 * kLarge);
    const int64_t frames = std::find(heard.begin(), heard.end(), 0) - heard.begin();
    const int64_t leftOut = 59 + int64_t{kLarge} - frames;
    EXPECT_GT(leftOut, int64_t{kSlow});
    EXPECT_LE(leftOut, int64_t{10} * kSlow + 60);
}

TEST_F(AudioTrackTest, countsWhatWasHeard) {
    const sp<AudioTrack> track = reach(Reach::kFresh);
    EXPECT_EQ(track->getPosition(nullptr), BAD_VALUE);
    EXPECT_EQ(position(track), 0u);
    ASSERT_EQ(track->start(), OK);
    mOutput.pullSound(100);
    EXPECT_EQ(position(track), 0u) << "pulled, but not heard before ten seconds";
    track->pause();
    EXPECT_EQ(position(track), 100u);

    ASSERT_EQ(track->start(), OK);
    mOutput.pull(0, 0);
    const int64_t heardAtUs = monotonicUs() + kLeadUs;  // past the silence
    mOutput.pull(2 * kRingFrames, heardAtUs);
    // Goes on after the pause, with the clock.
    const auto due = [heardAtUs] {
        return 100 + std::max<int64_t>(0, monotonicUs() - heardAtUs) * kRate / 1000000;
    };
    ASSERT_TRUE(waitFor([&] {
        const int64_t atLeast = std::min<int64_t>(due(), kRingFrames);
        const int64_t playing = position(track);
        EXPECT_GE(playing, atLeast);
        EXPECT_LE(playing, due());
        return playing > 100 + kRate / 50;
    }));
    track->pause();
    EXPECT_EQ(position(track), kRingFrames) << "silence does not count";
    track->flush();
    EXPECT_EQ(position(track), 0u);
}

TEST_F(AudioTrackTest, appliesTheVolume) {
    const sp<AudioTrack> track = newTrack();
    for (const float wrong : {-0.1f, 1.1f, std::nanf("")})
        EXPECT_EQ(track->setVolume(wrong), BAD_VALUE) << wrong;
    ASSERT_EQ(track->start(), OK);
    ASSERT_EQ(write(track, std::vector<int16_t>(40, -20000)), 80);
    for (const float volume : {1.0f, 0.5f, 0.25f, 0.0f}) {
        ASSERT_EQ(track->setVolume(volume), OK);
        const auto expected = static_cast<int16_t>(-20000 * volume);
        EXPECT_EQ(mOutput.pullSound(10), std::vector<int16_t>(10, expected));
    }
}

TEST_F(AudioTrackTest, stopWaitsUntilTheRingHasPlayed) {
    constexpr int64_t kLongUs = 300000;
    mOutput.latencyUs = 5000000;  // stop() waits as much longer for it
    const sp<AudioTrack> track = newTrack();
    ASSERT_EQ(track->start(), OK);
    ASSERT_EQ(write(track, ramp(1000)), 2000);
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
    EXPECT_EQ(position(track), 0u);
    EXPECT_EQ(track->start(), OK);
}

TEST_F(AudioTrackTest, stopLeavesOutWhatNobodyWaitsFor) {
    const FaultLog log;
    const auto volume = oxa::host::useSoundVolume();
    const sp<AudioTrack> track = reach(Reach::kActive);
    volume->setPlaysOut(false);
    // Nothing is pulled any more: whoever waited would take the output for dead.
    track->stop();
    EXPECT_FALSE(mOutput.running());
    EXPECT_EQ(room(track), kRingFrames);
    EXPECT_TRUE(log.faults().empty());
    volume->setPlaysOut(true);
}

// Neither the writer nor stop() may hang on a device that has died; the client is told once.
TEST_F(AudioTrackTest, doesNotHangOnAnOutputThatDies) {
    const FaultLog log;
    const sp<AudioTrack> track = reach(Reach::kActive);
    EXPECT_EQ(write(track, ramp(10), true), WOULD_BLOCK);
    ASSERT_EQ(log.faults().size(), 1u);
    EXPECT_EQ(log.faults()[0].source, oxa::host::FaultSource::kSound);
    EXPECT_EQ(log.faults()[0].cause, "takes no more sound");

    // It recovers: writers wait for it again.
    mOutput.pullSound(9);
    std::thread output([this] { mOutput.pullSound(1); });
    EXPECT_EQ(write(track, ramp(10), true), 20);
    output.join();

    track->stop();
    EXPECT_TRUE(track->stopped());
    EXPECT_EQ(room(track), kRingFrames);
    EXPECT_EQ(log.faults().size(), 1u);
}

// A client in callback mode that delivers a ramp.
class Deliverer {
  public:
    static void onEvent(int event, void* user, void* info) {
        auto* self = static_cast<Deliverer*>(user);
        if (event == AudioTrack::EVENT_MORE_DATA) {
            self->deliver(static_cast<AudioTrack::Buffer*>(info));
        } else {
            EXPECT_EQ(event, AudioTrack::EVENT_UNDERRUN);
            EXPECT_EQ(info, nullptr);
            ++self->underruns;
        }
    }

    // How many bytes a request gets; nothing at all when 0.
    using Rule = std::function<size_t(size_t offered)>;
    void setRule(Rule rule) {
        std::lock_guard<std::mutex> lock(mLock);
        mRule = std::move(rule);
    }

    std::atomic<int> requests{0};
    std::atomic<int> underruns{0};

  private:
    void deliver(AudioTrack::Buffer* buffer) {
        std::lock_guard<std::mutex> lock(mLock);
        EXPECT_GT(buffer->sequence, std::exchange(mSequence, buffer->sequence));
        const size_t bytes = mRule(buffer->size);
        const std::vector<int16_t> samples =
                ramp(std::min(bytes, buffer->size) / sizeof(int16_t), mDelivered);
        std::copy(samples.begin(), samples.end(), buffer->i16);
        mDelivered += samples.size();
        buffer->size = bytes;
        ++requests;
    }

    std::mutex mLock;
    Rule mRule = [](size_t offered) { return offered; };  // guarded by mLock
    size_t mDelivered = 0;                                // guarded by mLock
    uint32_t mSequence = 0;                               // guarded by mLock
};

class AudioTrackCallback : public AudioTrackTest {
  protected:
    sp<AudioTrack> newCallbackTrack() {
        return new AudioTrack(kMusic, kRate, kPcm16, AUDIO_CHANNEL_OUT_MONO, 0,
                              AUDIO_OUTPUT_FLAG_NONE, Deliverer::onEvent, &mDeliverer);
    }

    Deliverer mDeliverer;  // before the tracks of the tests
};

TEST_F(AudioTrackCallback, asksWhileItIsActiveAndPlaysInOrder) {
    const sp<AudioTrack> track = newCallbackTrack();
    ASSERT_EQ(track->initCheck(), OK);
    EXPECT_EQ(track->frameCount(), kRate / 10);
    EXPECT_EQ(track->write("12", 2), INVALID_OPERATION);
    // Nothing, parts, and whole buffers.
    mDeliverer.setRule([count = 0](size_t offered) mutable {
        ++count;
        return count % 3 == 0 ? 0 : count % 3 == 1 ? offered : size_t{200};
    });
    EXPECT_EQ(mDeliverer.requests, 0);
    ASSERT_EQ(track->start(), OK);
    const std::vector<int16_t> heard = hear(10000);
    EXPECT_EQ(ramp(heard.size()), heard);
    track->pause();
    ASSERT_EQ(track->start(), OK);
    const std::vector<int16_t> after = hear(10000);
    EXPECT_EQ(ramp(after.size(), heard.size()), after);
}

TEST_F(AudioTrackCallback, tellsOfEachUnderrunOnce) {
    sp<AudioTrack> track = newCallbackTrack();
    ASSERT_EQ(track->start(), OK);
    for (int underruns = 1; underruns <= 3; ++underruns) {
        mDeliverer.setRule([](size_t offered) { return offered; });
        ASSERT_GE(hear(500).size(), 500u);
        mDeliverer.setRule([](size_t) { return 0; });
        ASSERT_TRUE(waitFor([&] {
            mOutput.pullSound(1000);
            return mDeliverer.underruns == underruns;
        }));
        const int requests = mDeliverer.requests;
        ASSERT_TRUE(waitFor([&] {
            mOutput.pullSound(1000);
            return mDeliverer.requests >= requests + 3;
        }));
        EXPECT_EQ(underruns, mDeliverer.underruns);
    }

    // The end at a stop is none.
    mDeliverer.setRule([](size_t offered) { return offered; });
    ASSERT_GE(hear(500).size(), 500u);
    playOut(track);
    track.clear();
    EXPECT_EQ(mDeliverer.underruns, 3);
}

TEST_F(AudioTrackCallback, neverAsksAgainACallbackThatClaimsTooMuch) {
    sp<AudioTrack> track = newCallbackTrack();
    mDeliverer.setRule([](size_t offered) { return offered + 1; });
    ASSERT_EQ(track->start(), OK);
    ASSERT_TRUE(waitFor([&] { return mDeliverer.requests == 1; }));
    EXPECT_THAT(mOutput.pullSound(kRate), testing::Each(0));
    track.clear();
    EXPECT_EQ(mDeliverer.requests, 1);
}

using AudioTrackDeathTest = AudioTrackCallback;

sp<AudioTrack> gLastReference;

TEST_F(AudioTrackDeathTest, mustNotBeDestroyedByItsCallback) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
            {
                gLastReference = new AudioTrack(kMusic, kRate, kPcm16, AUDIO_CHANNEL_OUT_MONO, 0,
                                                AUDIO_OUTPUT_FLAG_NONE,
                                                [](int, void*, void*) { gLastReference.clear(); });
                gLastReference->start();
                waitFor([] { return false; });
            },
            "dropped the last reference");
}

}  // namespace
}  // namespace android
