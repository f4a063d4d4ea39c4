// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <media/AudioTrack.h>
#include <oxa/host/SoundOutput.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "audio/SoundSink.h"
#include "base/Monotonic.h"
#include "support/FaultLog.h"
#include "support/Sound.h"
#include "support/Test.h"

namespace android {
namespace {

using namespace oxa::test;
using oxa::host::Fault;
using oxa::host::SoundBlock;

constexpr int64_t kLeadUs = 13000;
constexpr float kAmplitude = 0.25;
constexpr double kAmplitudeDb = -12.04;

sp<AudioTrack> newTrack(int channels, int rate) {
    return new AudioTrack(AUDIO_STREAM_MUSIC, rate, AUDIO_FORMAT_PCM_16_BIT,
                          audio_channel_out_mask_from_count(channels));
}

double frequencyOf(int channel) {
    return 300 + 200 * channel;
}

std::vector<int16_t> tones(int channels, int rate, size_t frames) {
    std::vector<double> frequencies;
    for (int channel = 0; channel < channels; ++channel)
        frequencies.push_back(frequencyOf(channel));
    return oxa::test::tones(frequencies, kAmplitude, rate, frames);
}

void play(const sp<AudioTrack>& track, const std::vector<int16_t>& pcm) {
    const auto bytes = static_cast<ssize_t>(pcm.size() * sizeof(int16_t));
    ASSERT_EQ(bytes, track->write(pcm.data(), bytes));
}

void playAll(const sp<AudioTrack>& track, const std::vector<int16_t>& pcm) {
    ASSERT_EQ(track->initCheck(), OK);
    ASSERT_EQ(track->start(), OK);
    ASSERT_NO_FATAL_FAILURE(play(track, pcm));
    track->stop();
}

// Without the silence before and after.
std::vector<int16_t> soundOf(const std::vector<int16_t>& pcm) {
    const auto heard = [](int16_t sample) { return sample != 0; };
    const auto first = std::find_if(pcm.begin(), pcm.end(), heard);
    const auto last = std::find_if(pcm.rbegin(), pcm.rend(), heard).base();
    return first < last ? std::vector<int16_t>(first, last) : std::vector<int16_t>();
}

class SoundOutputTest : public testing::Test {
  protected:
    ~SoundOutputTest() override { oxa::host::useSoundDevice(); }

    void expectOneEnd(const std::string& object, int error) const {
        const std::vector<Fault> faults = mFaults.faults();
        ASSERT_EQ(faults.size(), 1u);
        EXPECT_EQ(faults[0].source, oxa::host::FaultSource::kSound);
        EXPECT_EQ(faults[0].object, object);
        EXPECT_EQ(error, faults[0].error);
        EXPECT_TRUE(faults[0].ended);
    }

    FaultLog mFaults;
};

// Block n of a device without drift is heard at the start + n blocks, to the microsecond, however
// the machine is loaded; and the call that waits for the end waits for the clock.
TEST_F(SoundOutputTest, pacesByTheMonotonicClockWithoutDrift) {
    constexpr int kRate = 44100;
    const auto recording = oxa::host::useSoundRecording(SIZE_MAX);
    const std::vector<int16_t> pcm = tones(2, kRate, kRate * 2);
    const int64_t beforeUs = monotonicUs();
    ASSERT_NO_FATAL_FAILURE(playAll(newTrack(2, kRate), pcm));
    const int64_t afterUs = monotonicUs();

    const std::vector<SoundBlock> blocks = recording->blocks();
    ASSERT_FALSE(blocks.empty());
    const int64_t firstUs = blocks[0].timeUs;
    EXPECT_GE(firstUs, beforeUs);
    size_t frames = 0;
    std::vector<int16_t> heard;
    for (const SoundBlock& block : blocks) {
        ASSERT_EQ(firstUs + framesToUs(frames, kRate), block.timeUs);
        ASSERT_EQ(block.sampleRate, kRate);
        ASSERT_EQ(block.channels, 2);
        frames += block.frames();
        heard.insert(heard.end(), block.samples.begin(), block.samples.end());
    }
    EXPECT_EQ(frames, recording->frames());
    EXPECT_GE(afterUs - beforeUs, kLeadUs + 2000000);
    EXPECT_GE(afterUs, blocks.back().timeUs);

    // All that was written came out, once and in order.
    EXPECT_TRUE(soundOf(heard) == soundOf(pcm));
}

TEST_F(SoundOutputTest, dropsBlocksOfARecordingAboveItsLimit) {
    constexpr int kRate = 8000;
    const auto recording = oxa::host::useSoundRecording(400);
    ASSERT_NO_FATAL_FAILURE(playAll(newTrack(1, kRate), tones(1, kRate, 800)));
    EXPECT_TRUE(recording->full());
    EXPECT_LE(recording->frames(), 400u);
    EXPECT_GT(recording->frames(), 300u);
}

TEST_F(SoundOutputTest, wavFileHoldsWhatAListenerWouldHaveHeard) {
    const std::string path = TempDir::ofProcess().file("heard.wav");
    for (const auto& [channels, rate] : {std::pair{1, 8000}, {2, 44100}, {6, 48000}}) {
        SCOPED_TRACE(channels);
        ASSERT_EQ(oxa::host::useWavSound(path), "");
        const sp<AudioTrack> track = newTrack(channels, rate);
        ASSERT_NO_FATAL_FAILURE(playAll(track, tones(channels, rate, rate)));

        // While the track still lives. Not every player goes on behind the size that is told.
        uint32_t riffBytes = 0;
        memcpy(&riffBytes, readFile(path).data() + 4, sizeof(riffBytes));
        EXPECT_EQ(int64_t{riffBytes} + 8, fileSize(path));
        const Sound sound = decodeSound(path);
        ASSERT_EQ(rate, sound.sampleRate);
        ASSERT_EQ(channels, sound.channels);
        int16_t frameBytes = 0;
        memcpy(&frameBytes, readFile(path).data() + 32, sizeof(frameBytes));
        EXPECT_EQ(frameBytes, 2 * channels);
        EXPECT_GE(sound.seconds(), 1.015);
        for (int channel = 0; channel < channels; ++channel) {
            const std::vector<float> middle = window(sound.channel(channel), rate, 0.3, 0.5);
            EXPECT_NEAR(frequencyOf(channel), dominantFrequency(middle, rate), 1);
            EXPECT_NEAR(toneDb(middle, rate, frequencyOf(channel)), kAmplitudeDb, 0.1);
            EXPECT_EQ(levelDb(window(sound.channel(channel), rate, 0, 0.012)), kSilenceDb);
        }
    }
}

// What a process leaves that dies now: complete up to the last second.
TEST_F(SoundOutputTest, wavFileCanBeReadWhileItGrows) {
    constexpr int kRate = 8000;
    const std::string path = TempDir::ofProcess().file("growing.wav");
    const std::string copy = TempDir::ofProcess().file("copy.wav");
    ASSERT_EQ(oxa::host::useWavSound(path), "");
    const sp<AudioTrack> track = newTrack(1, kRate);
    ASSERT_EQ(track->start(), OK);
    ASSERT_NO_FATAL_FAILURE(play(track, tones(1, kRate, kRate * 2)));
    ASSERT_TRUE(waitFor([&] { return fileSize(path) > 44 + 2 * kRate * 3 / 2; }));
    ASSERT_TRUE(writeFile(copy, readFile(path)));
    const Sound sound = decodeSound(copy);
    EXPECT_GE(sound.seconds(), 1);
    EXPECT_NEAR(frequencyOf(0), dominantFrequency(window(sound.channel(0), kRate, 0.1, 0.8), kRate),
                1);
    track->stop();
}

TEST_F(SoundOutputTest, givesEachTrackAWavFileOfItsOwn) {
    TempDir dir;
    for (const auto& [name, nameOfSecond] :
         {std::pair("a.b.wav", "a.b-2.wav"), {".wav", ".wav-2"}, {"wav", "wav-2"}}) {
        ASSERT_EQ(oxa::host::useWavSound(dir.file(name)), "");
        const sp<AudioTrack> first = newTrack(1, 8000);
        const sp<AudioTrack> second = newTrack(2, 16000);
        ASSERT_NO_FATAL_FAILURE(playAll(second, tones(2, 16000, 1600)));
        ASSERT_NO_FATAL_FAILURE(playAll(first, tones(1, 8000, 800)));
        EXPECT_EQ(decodeSound(dir.file(name)).sampleRate, 8000);
        EXPECT_EQ(decodeSound(dir.file(nameOfSecond)).sampleRate, 16000);
    }
}

TEST_F(SoundOutputTest, refusesAWavFileThatCannotBeWritten) {
    const auto recording = oxa::host::useSoundRecording(SIZE_MAX);
    EXPECT_EQ(oxa::host::useWavSound("/nonexistent/heard.wav"), "No such file or directory");
    ASSERT_NO_FATAL_FAILURE(playAll(newTrack(1, 8000), tones(1, 8000, 80)));
    EXPECT_GT(recording->frames(), 0u) << "the former choice stands";
}

TEST_F(SoundOutputTest, playsOnWhenTheDiskIsFullAndTellsItOnce) {
    constexpr int kRate = 8000;
    ASSERT_EQ(oxa::host::useWavSound("/dev/full"), "");
    const int64_t beforeUs = monotonicUs();
    ASSERT_NO_FATAL_FAILURE(playAll(newTrack(1, kRate), tones(1, kRate, kRate / 4)));
    EXPECT_GE(monotonicUs() - beforeUs, 250000);
    expectOneEnd("/dev/full", ENOSPC);
}

// A pipe whose reader has stopped must not hold the sound, and whoever stops it, for ever.
TEST_F(SoundOutputTest, playsOnWhenNobodyReadsThePipe) {
    constexpr int kRate = 48000;
    constexpr int kChannels = 8;
    const TempDir dir;
    const std::string path = dir.file("pipe.wav");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_NE(oxa::host::useWavSound(path), "") << "there is no reader";
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    ASSERT_EQ(oxa::host::useWavSound(path), "");
    // Several times what a pipe holds.
    ASSERT_NO_FATAL_FAILURE(
            playAll(newTrack(kChannels, kRate), tones(kChannels, kRate, kRate / 2)));
    close(reader);
    expectOneEnd(path, ETIMEDOUT);
}

// SDL's own driver that writes what a device would play into a file.
TEST_F(SoundOutputTest, channelsGoToTheirPlacesOnADevice) {
    constexpr int kRate = 48000;
    constexpr size_t kFrames = kRate / 4;
    // For each channel of the device the one of the track, -1 for silence.
    const std::vector<int> kMaps[] = {{0},
                                      {0, 1},
                                      {0, 1, 2, -1, 3, 4},
                                      {0, 1, 2, 3, 4, 5},
                                      {0, 1, 2, 3, 6, 4, 5},
                                      {0, 1, 2, 3, 4, 5, 6, 7}};
    const std::string path = TempDir::ofProcess().file("device.raw");
    setenv("SDL_AUDIODRIVER", "disk", 1);
    setenv("SDL_DISKAUDIOFILE", path.c_str(), 1);
    oxa::host::useSoundDevice();
    ASSERT_EQ(oxa::host::soundDeviceError(), "");
    for (const std::vector<int>& map : kMaps) {
        SCOPED_TRACE(map.size());
        const int channels = 1 + *std::max_element(map.begin(), map.end());
        std::vector<int16_t> pcm;
        for (size_t i = 0; i < kFrames * channels; ++i)
            pcm.push_back(1000 * (1 + i % channels));
        {
            const sp<AudioTrack> track = newTrack(channels, kRate);
            ASSERT_NO_FATAL_FAILURE(playAll(track, pcm));
            // Half a second in the ring and what the device takes at a time.
            EXPECT_NEAR(track->latency(), 510.7, 1);
        }
        const std::string bytes = readFile(path);
        std::vector<int16_t> heard(bytes.size() / sizeof(int16_t));
        memcpy(heard.data(), bytes.data(), heard.size() * sizeof(int16_t));
        std::vector<int16_t> expected;
        for (size_t i = 0; i < kFrames; ++i) {
            for (const int from : map)
                expected.push_back(from < 0 ? 0 : 1000 * (1 + from));
        }
        EXPECT_TRUE(soundOf(heard) == expected);
    }
    EXPECT_NEAR(newTrack(2, 2 * kRate)->latency(), 510.7, 1);
    unsetenv("SDL_AUDIODRIVER");
}

}  // namespace
}  // namespace android
