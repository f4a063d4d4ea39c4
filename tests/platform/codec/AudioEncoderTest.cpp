// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <gui/Surface.h>
#include <media/stagefright/MediaCodec.h>

#include <algorithm>
#include <cmath>

#include "codec/AacEncoder.h"
#include "codec/AvAudioDecoder.h"
#include "platform/codec/AudioComponentDriver.h"
#include "support/ProcessRunner.h"
#include "support/Sound.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

namespace android {
namespace {

using namespace oxa::test;

constexpr int kUnitFrames = 1024;

struct Shape {
    int channels;
    int sampleRate;
};

sp<AMessage> encoderFormat(Shape pcm, Shape stream = {0, 0}) {
    sp<AMessage> format = new AMessage;
    format->setString("mime", "audio/mp4a-latm");
    format->setInt32("channel-count", pcm.channels);
    format->setInt32("sample-rate", pcm.sampleRate);
    format->setInt32("audio-chan-count", stream.channels);
    format->setInt32("audio-samp-rate", stream.sampleRate);
    format->setInt32("aac-profile", 2);
    format->setInt32("bitrate", 128000);
    format->setInt32("max-input-size", 92160);
    return format;
}

// Interleaved 16-bit samples from one vector for each channel.
std::vector<int16_t> interleave(const std::vector<std::vector<float>>& channels) {
    std::vector<int16_t> pcm;
    for (size_t i = 0; i < channels[0].size(); ++i) {
        for (const auto& channel : channels) {
            pcm.push_back(static_cast<int16_t>(std::lround(channel[i] * 32767)));
        }
    }
    return pcm;
}

// Feeds PCM in blocks, stamped from `firstStampUs` on.
bool feed(AudioComponentDriver* driver, Shape shape, int64_t firstStampUs,
          const std::vector<int16_t>& pcm) {
    constexpr size_t kBlockFrames = 2048;
    const size_t frames = pcm.size() / shape.channels;
    for (size_t at = 0; at < frames; at += kBlockFrames) {
        const size_t count = std::min(kBlockFrames, frames - at);
        if (!driver->queue(pcm.data() + at * shape.channels,
                           count * shape.channels * sizeof(int16_t),
                           firstStampUs + std::llround(1e6 * at / shape.sampleRate))) {
            return false;
        }
    }
    return true;
}

// What a stream decodes to, priming included: frame 0 is the first frame of the first unit.
Sound decodeUnits(const AudioComponentDriver& encoder) {
    AudioComponentDriver decoder(createAvAudioDecoder("audio/mp4a-latm"));
    EXPECT_EQ(decoder.start(encoder.formats()[0]), OK);
    for (const auto& unit : encoder.outputs()) {
        EXPECT_TRUE(decoder.queue(unit.bytes.data(), unit.bytes.size(), unit.timeUs));
    }
    EXPECT_TRUE(decoder.queueEnd() && decoder.waitForEnd());
    return soundFromPcm(decoder.pcm(), decoder.formatInt32("channel-count"),
                        decoder.formatInt32("sample-rate"));
}

// Encodes all of it and checks what holds for every stream: order, marks, and times that count
// samples from one unit of priming before the first stamp.
Sound encodeAndDecode(AudioComponentDriver* driver, Shape shape, Shape stream,
                      const std::vector<int16_t>& pcm, int64_t firstStampUs = 0) {
    EXPECT_EQ(driver->start(encoderFormat(shape, stream)), OK);
    EXPECT_EQ(driver->formats().size(), 1u) << "the format must not wait for data";
    EXPECT_TRUE(feed(driver, shape, firstStampUs, pcm));
    EXPECT_TRUE(driver->queueEnd());
    EXPECT_TRUE(driver->waitForEnd());
    EXPECT_TRUE(driver->inOrder());
    EXPECT_EQ(driver->formats().size(), 1u);
    const int rate = driver->formatInt32("sample-rate");
    for (size_t k = 0; k < driver->outputs().size(); ++k) {
        const auto& unit = driver->outputs()[k];
        EXPECT_EQ(unit.flags, static_cast<uint32_t>(MediaCodec::BUFFER_FLAG_SYNCFRAME));
        EXPECT_NEAR(unit.timeUs,
                    firstStampUs + (static_cast<double>(k) - 1) * kUnitFrames * 1e6 / rate, 1.5);
    }
    return decodeUnits(*driver);
}

// Fails when priming or the resampler's delay moves sound against picture, when the tail is lost,
// or when the last unit is silence only.
TEST(AacEncoderTest, AClickIsWhereItWas) {
    constexpr double kSeconds = 1.0301;
    constexpr double kClickSeconds = 0.3;
    const struct {
        Shape pcm;
        Shape stream;
        int64_t firstStampUs;
    } kConversions[] = {{{2, 44100}, {2, 44100}, 1234567},
                        {{1, 44100}, {2, 48000}, 0},
                        {{2, 48000}, {2, 44100}, -21333},
                        {{1, 8000}, {1, 48000}, 40},
                        {{1, 37800}, {1, 48000}, 0}};
    for (const auto& [pcm, stream, firstStampUs] : kConversions) {
        SCOPED_TRACE(pcm.sampleRate);
        const int rate = stream.sampleRate;
        std::vector<float> wave(static_cast<size_t>(kSeconds * pcm.sampleRate), 0.0f);
        // One period of a raised cosine, 2 ms.
        const int half = pcm.sampleRate / 1000;
        const int centre = static_cast<int>(kClickSeconds * pcm.sampleRate);
        for (int i = -half; i <= half; ++i) {
            wave[centre + i] = static_cast<float>(0.45 + 0.45 * std::cos(M_PI * i / half));
        }
        AudioComponentDriver driver(createAacEncoder());
        const Sound sound = encodeAndDecode(
                &driver, pcm, stream,
                interleave(std::vector<std::vector<float>>(pcm.channels, wave)), firstStampUs);
        ASSERT_EQ(sound.sampleRate, rate);
        const size_t click = peakPosition(sound.channel(0));
        EXPECT_NEAR(driver.outputs()[0].timeUs + 1e6 * click / rate,
                    firstStampUs + kClickSeconds * 1e6, 150);
        const double realFrames = static_cast<double>(sound.frames()) - kUnitFrames;
        EXPECT_GE(realFrames, kSeconds * rate - 1);
        EXPECT_LT(realFrames, kSeconds * rate + kUnitFrames);
    }
}

constexpr double kMixAmplitude = 0.2;
constexpr int kMixRate = 48000;

std::vector<double> channelFrequencies(int channels) {
    std::vector<double> frequencies;
    // Low enough for the band-limited bass channel that AAC codes up to about 100 Hz apart.
    for (int channel = 0; channel < channels; ++channel)
        frequencies.push_back(60 + 230 * channel);
    if (channels > 3) std::swap(frequencies[0], frequencies[3]);
    return frequencies;
}

// One second with a tone of its own in each channel, encoded for so many channels.
Sound encodedMix(AudioComponentDriver* driver, int channels, int streamChannels) {
    std::vector<std::vector<float>> waves;
    for (double frequency : channelFrequencies(channels)) {
        waves.push_back(sine(frequency, kMixAmplitude, kMixRate, kMixRate));
    }
    return encodeAndDecode(driver, {channels, kMixRate}, {streamChannels, 0}, interleave(waves));
}

// A swapped, lost or attenuated channel shows.
TEST(AacEncoderTest, LevelsAreThoseOfTheCommand) {
    const struct {
        const char* layout;  // the command's name
        int channels;
        const char* streamLayout;
        int streamChannels;
    } kMixes[] = {{"3.0", 3, "stereo", 2}, {"3.0", 3, "3.0", 3},    {"4.0", 4, "stereo", 2},
                  {"5.0", 5, "stereo", 2}, {"6.1", 7, "stereo", 2}, {"7.1", 8, "stereo", 2},
                  {"7.1", 8, "5.1", 6},    {"7.1", 8, "7.1", 8}};
    for (const auto& mix : kMixes) {
        SCOPED_TRACE(std::string(mix.layout) + " to " + mix.streamLayout);
        const std::vector<double> frequencies = channelFrequencies(mix.channels);
        ClipOptions options;
        options.extension = "wav";
        options.audioCodec = "pcm_s16le";
        options.seconds = 1;
        const std::string source = sineClip(frequencies, kMixAmplitude, options, mix.layout);
        const std::string target = TempDir::ofProcess().file("mix.m4a");
        runOrDie({"ffmpeg", "-loglevel", "error", "-nostdin", "-y", "-i", source, "-c:a", "aac",
                  "-b:a", "128k", "-af", std::string("aformat=channel_layouts=") + mix.streamLayout,
                  target});
        AudioComponentDriver driver(createAacEncoder());
        const Sound sound = encodedMix(&driver, mix.channels, mix.streamChannels);
        EXPECT_EQ(driver.formatInt32("channel-count"), mix.streamChannels);
        const Sound expected = decodeSound(target);
        ASSERT_EQ(sound.channels, expected.channels);
        ASSERT_EQ(sound.sampleRate, expected.sampleRate);
        for (int channel = 0; channel < sound.channels; ++channel) {
            for (double frequency : frequencies) {
                const auto audibleDb = [&](const Sound& heard) {
                    const auto samples = window(heard.channel(channel), kMixRate, 0.2, 0.7);
                    return std::max(toneDb(samples, kMixRate, frequency), -45.0);
                };
                EXPECT_NEAR(audibleDb(sound), audibleDb(expected), 0.5)
                        << "channel " << channel << ", " << frequency << " Hz";
            }
        }
    }
}

// Twelve channels have no names and no known mix.
TEST(AacEncoderTest, UnknownLayoutsKeepTheirFirstChannels) {
    AudioComponentDriver driver(createAacEncoder());
    const Sound sound = encodedMix(&driver, 12, 2);
    ASSERT_EQ(sound.channels, 2);
    for (int channel = 0; channel < 2; ++channel) {
        const auto heard = window(sound.channel(channel), kMixRate, 0.2, 0.7);
        EXPECT_NEAR(toneDb(heard, kMixRate, channelFrequencies(12)[channel]),
                    20 * std::log10(kMixAmplitude), 0.5);
    }
}

// One second of a tone, then another second that is stamped off.
TEST(AacEncoderTest, FollowsStampsThatAreFarOff) {
    const struct {
        const char* name;
        int64_t shiftUs;
        double addedSeconds;
        Shape pcm;
        Shape stream;
    } kShifts[] = {{"gap", 500000, 0.5, {1, 44100}, {1, 48000}},
                   {"gap of a minute", 60000000, 60, {1, 8000}, {1, 8000}},
                   {"overlap", -300000, -0.3, {1, 48000}, {1, 48000}},
                   {"overlap of everything", -1000000, -1, {1, 48000}, {1, 48000}},
                   {"small gap", 30000, 0.03, {1, 48000}, {1, 48000}},
                   {"small overlap", -30000, -0.03, {1, 48000}, {1, 48000}},
                   {"rounding", 1900, 0, {1, 48000}, {1, 48000}},
                   {"broken stamp", INT64_MAX - 3000000, 0, {1, 48000}, {1, 48000}},
                   {"broken early stamp", INT64_MIN, 0, {1, 48000}, {1, 48000}}};
    for (const auto& shift : kShifts) {
        SCOPED_TRACE(shift.name);
        AudioComponentDriver driver(createAacEncoder());
        const int rate = shift.pcm.sampleRate;
        const auto second = interleave({sine(400, 0.5, rate, rate)});
        ASSERT_EQ(driver.start(encoderFormat(shift.pcm, shift.stream)), OK);
        ASSERT_TRUE(feed(&driver, shift.pcm, 0, second));
        ASSERT_TRUE(feed(&driver, shift.pcm, 1000000 + shift.shiftUs, second));
        ASSERT_TRUE(driver.queueEnd() && driver.waitForEnd());
        const Sound sound = decodeUnits(driver);
        const double unit = 1.0 * kUnitFrames / sound.sampleRate;
        EXPECT_GE(sound.seconds(), 2 + shift.addedSeconds + unit - 0.001);
        EXPECT_LT(sound.seconds(), 2 + shift.addedSeconds + 2 * unit + 0.001);
        if (shift.addedSeconds < 0.2) continue;
        // Silence in the gap, the tone on both sides of it.
        const auto level = [&sound](double from, double length) {
            return levelDb(window(sound.channel(0), sound.sampleRate, from, length));
        };
        EXPECT_LT(level(unit + 1.05, shift.addedSeconds - 0.1), -60);
        EXPECT_GT(level(unit + 0.9, 0.08), -12);
        EXPECT_GT(level(unit + 1.02 + shift.addedSeconds, 0.1), -12);
    }
}

// Clocks of sound and picture that run apart: each click of the sound, one in half a second, must
// stay where its stamp says, and the tone must stay whole: a stretch that begins or ends with a
// jump would be heard as a click between the clicks.
TEST(AacEncoderTest, FollowsAClockThatDrifts) {
    constexpr int kSeconds = 30;
    constexpr int kBlockFrames = 1024;
    const struct {
        double rate;
        Shape pcm;
        Shape stream;
    } kDrifts[] = {{1.001, {1, 48000}, {1, 48000}},
                   {0.999, {1, 48000}, {1, 48000}},
                   {1.0003, {2, 44100}, {2, 48000}},
                   {0.995, {1, 32000}, {1, 32000}}};
    for (const auto& drift : kDrifts) {
        SCOPED_TRACE(drift.rate);
        const int rate = drift.pcm.sampleRate;
        std::vector<float> wave(size_t{kSeconds} * rate);
        for (int click = 0; click < 2 * kSeconds; ++click)
            wave[click * rate / 2 + rate / 4] = 0.9F;
        const std::vector<int16_t> pcm =
                interleave(std::vector<std::vector<float>>(drift.pcm.channels, wave));
        AudioComponentDriver driver(createAacEncoder());
        ASSERT_EQ(driver.start(encoderFormat(drift.pcm, drift.stream)), OK);
        for (size_t at = 0; at < wave.size(); at += kBlockFrames) {
            const size_t frames = std::min<size_t>(kBlockFrames, wave.size() - at);
            ASSERT_TRUE(driver.queue(pcm.data() + at * drift.pcm.channels,
                                     frames * drift.pcm.channels * sizeof(int16_t),
                                     std::llround(1e6 * drift.rate * at / rate)));
        }
        ASSERT_TRUE(driver.queueEnd() && driver.waitForEnd());
        const Sound sound = decodeUnits(driver);
        const std::vector<float> heard = sound.channel(0);
        for (int click = 0; click < 2 * kSeconds - 1; ++click) {
            const double expected = (0.5 * click + 0.25) * drift.rate;
            const double from = expected + 1.0 * kUnitFrames / sound.sampleRate - 0.02;
            const size_t peak = peakPosition(window(heard, sound.sampleRate, from, 0.04));
            EXPECT_NEAR(1000.0 * peak / sound.sampleRate, 20, 4.5) << "click " << click;
        }
        EXPECT_NEAR(sound.seconds(), kSeconds * drift.rate + 1.5 * kUnitFrames / sound.sampleRate,
                    0.6 * kUnitFrames / sound.sampleRate + 0.0045);
    }
}

// The end comes with the last of them, and what the resampler holds is nearly all there is. Without
// any there is just the end.
TEST(AacEncoderTest, AFewFramesMakeOneUnitAndThePriming) {
    const struct {
        size_t frames;
        int streamRate;
        size_t units;
    } kEnds[] = {{60, 44100, 2}, {60, 48000, 2}, {0, 44100, 0}, {0, 48000, 0}};
    const std::vector<int16_t> pcm(60, 1000);
    for (const auto& end : kEnds) {
        SCOPED_TRACE(end.streamRate);
        AudioComponentDriver driver(createAacEncoder());
        ASSERT_EQ(driver.start(encoderFormat({1, 44100}, {1, end.streamRate})), OK);
        ASSERT_TRUE(driver.queue(pcm.data(), end.frames * sizeof(int16_t), 0,
                                 MediaCodec::BUFFER_FLAG_EOS));
        ASSERT_TRUE(driver.waitForEnd());
        EXPECT_TRUE(driver.inOrder());
        EXPECT_EQ(driver.outputs().size(), end.units);
    }
}

TEST(AacEncoderTest, KnowsWhatAacHas) {
    const struct {
        Shape pcm;
        Shape stream;
        status_t expected;
    } kFormats[] = {
            {{2, 7350}, {0, 0}, OK},
            {{8, 96000}, {0, 0}, OK},
            {{2, 37800}, {0, 0}, BAD_VALUE},
            {{2, 48000}, {2, 192000}, BAD_VALUE},
            {{9, 48000}, {0, 0}, BAD_VALUE},
            {{2, 48000}, {9, 0}, BAD_VALUE},
            {{0, 48000}, {2, 48000}, BAD_VALUE},
            {{2, 0}, {2, 48000}, BAD_VALUE},
    };
    for (const auto& format : kFormats) {
        EXPECT_EQ(createAacEncoder()->configure(encoderFormat(format.pcm, format.stream), nullptr),
                  format.expected)
                << format.pcm.channels << " channels at " << format.pcm.sampleRate << " Hz to "
                << format.stream.channels << " at " << format.stream.sampleRate;
    }
    for (const auto& [key, value] : {std::pair("aac-profile", 5), std::pair("bitrate", 0)}) {
        const sp<AMessage> other = encoderFormat({2, 48000});
        other->setInt32(key, value);
        EXPECT_EQ(createAacEncoder()->configure(other, nullptr), BAD_VALUE) << key;
    }
}

}  // namespace
}  // namespace android
