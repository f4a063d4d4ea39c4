// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gui/Surface.h>
#include <media/stagefright/MediaCodec.h>

#include "codec/AacEncoder.h"
#include "codec/AvAudioDecoder.h"
#include "support/AudioComponentDriver.h"
#include "support/Sound.h"
#include "support/Test.h"

namespace android {
namespace {

using namespace oxa::test;

constexpr int kUnitFrames = 1024;

struct Shape {
    int channels, sampleRate;
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

// Feeds PCM in blocks, stamped from `firstStampUs` on by a clock that is that much faster.
bool feed(AudioComponentDriver* driver, Shape shape, int64_t firstStampUs,
          const std::vector<int16_t>& pcm, size_t blockFrames = 2048, double faster = 1) {
    const size_t frames = pcm.size() / shape.channels;
    for (size_t at = 0; at < frames; at += blockFrames) {
        const size_t count = std::min(blockFrames, frames - at);
        if (!driver->queue(pcm.data() + at * shape.channels,
                           count * shape.channels * sizeof(int16_t),
                           firstStampUs + std::llround(1e6 * faster * at / shape.sampleRate))) {
            return false;
        }
    }
    return true;
}

// What a stream decodes to, priming included: frame 0 is the first frame of the first unit.
Sound decodeUnits(const AudioComponentDriver& encoder) {
    AudioComponentDriver decoder(createAvAudioDecoder("audio/mp4a-latm"));
    EXPECT_EQ(decoder.start(encoder.formats()[0]), OK);
    for (const auto& unit : encoder.outputs())
        EXPECT_TRUE(decoder.queue(unit.bytes.data(), unit.bytes.size(), unit.timeUs));
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
TEST(AacEncoderTest, aClickIsWhereItWas) {
    constexpr double kSeconds = 1.0301;
    constexpr double kClickSeconds = 0.3;
    const struct {
        Shape pcm, stream;
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
        for (int i = -half; i <= half; ++i)
            wave[centre + i] = static_cast<float>(0.45 + 0.45 * std::cos(M_PI * i / half));
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

// A tone of its own in each of so many channels, and the channels that must be left. Twelve have no
// names and no known mix: the first ones are kept. What layouts with names are mixed to, whole
// transcodes compare with the `ffmpeg` command's.
TEST(AacEncoderTest, channelsKeepTheirPlacesAndLevels) {
    constexpr int kRate = 48000;
    constexpr double kAmplitude = 0.2;
    for (const auto& [channels, streamChannels] : {std::pair(12, 2), {8, 8}, {3, 3}}) {
        SCOPED_TRACE(channels);
        std::vector<double> frequencies;
        for (int channel = 0; channel < channels; ++channel)
            frequencies.push_back(60 + 230 * channel);
        // The band-limited bass is low enough.
        if (channels == 8) std::swap(frequencies[0], frequencies[3]);
        AudioComponentDriver driver(createAacEncoder());
        const Sound sound = encodeAndDecode(&driver, {channels, kRate}, {streamChannels, 0},
                                            tones(frequencies, kAmplitude, kRate, kRate));
        ASSERT_EQ(sound.channels, streamChannels);
        for (int channel = 0; channel < streamChannels; ++channel) {
            const auto heard = window(sound.channel(channel), kRate, 0.2, 0.7);
            EXPECT_NEAR(toneDb(heard, kRate, frequencies[channel]), 20 * std::log10(kAmplitude), 1);
        }
    }
}

// Clocks of sound and picture that run apart: each click of the sound, one in half a second, must
// stay where its stamp says, and the tone must stay whole: a stretch that begins or ends with a
// jump would be heard as a click between the clicks.
TEST(AacEncoderTest, followsAClockThatDrifts) {
    constexpr int kSeconds = 30;
    for (const auto& [drift, shape, stream] : {std::tuple(1.001, Shape{1, 48000}, Shape{1, 48000}),
                                               {0.999, {1, 48000}, {1, 48000}},
                                               {1.0003, {2, 44100}, {2, 48000}},
                                               {0.995, {1, 32000}, {1, 32000}}}) {
        SCOPED_TRACE(drift);
        const int rate = shape.sampleRate;
        std::vector<float> wave(size_t{kSeconds} * rate);
        for (int click = 0; click < 2 * kSeconds; ++click)
            wave[click * rate / 2 + rate / 4] = 0.9F;
        const std::vector<int16_t> pcm =
                interleave(std::vector<std::vector<float>>(shape.channels, wave));
        AudioComponentDriver driver(createAacEncoder());
        ASSERT_EQ(driver.start(encoderFormat(shape, stream)), OK);
        ASSERT_TRUE(feed(&driver, shape, 0, pcm, 1024, drift));
        ASSERT_TRUE(driver.queueEnd() && driver.waitForEnd());
        const Sound sound = decodeUnits(driver);
        const std::vector<float> heard = sound.channel(0);
        for (int click = 0; click < 2 * kSeconds - 1; ++click) {
            const double expected = (0.5 * click + 0.25) * drift;
            const double from = expected + 1.0 * kUnitFrames / sound.sampleRate - 0.02;
            const size_t peak = peakPosition(window(heard, sound.sampleRate, from, 0.04));
            EXPECT_NEAR(1000.0 * peak / sound.sampleRate, 20, 4.5) << "click " << click;
        }
        EXPECT_NEAR(sound.seconds(), kSeconds * drift + 1.5 * kUnitFrames / sound.sampleRate,
                    0.6 * kUnitFrames / sound.sampleRate + 0.0045);
    }
}

// The end comes with the last of them, and what the resampler holds is nearly all there is. Without
// any there is just the end.
TEST(AacEncoderTest, aFewFramesMakeOneUnitAndThePriming) {
    const std::vector<int16_t> pcm(60, 1000);
    for (const auto& [frames, streamRate, units] :
         {std::tuple(60, 44100, 2U), {60, 48000, 2U}, {0, 44100, 0U}, {0, 48000, 0U}}) {
        SCOPED_TRACE(streamRate);
        AudioComponentDriver driver(createAacEncoder());
        ASSERT_EQ(driver.start(encoderFormat({1, 44100}, {1, streamRate})), OK);
        ASSERT_TRUE(
                driver.queue(pcm.data(), frames * sizeof(int16_t), 0, MediaCodec::BUFFER_FLAG_EOS));
        ASSERT_TRUE(driver.waitForEnd());
        EXPECT_TRUE(driver.inOrder());
        EXPECT_EQ(driver.outputs().size(), units);
    }
}

TEST(AacEncoderTest, knowsWhatAacHas) {
    for (const auto& [pcm, stream, expected] : {std::tuple(Shape{2, 7350}, Shape{0, 0}, OK),
                                                {{8, 96000}, {0, 0}, OK},
                                                {{64, 48000}, {2, 0}, OK},
                                                {{65, 48000}, {2, 0}, BAD_VALUE},
                                                {{2, 37800}, {0, 0}, BAD_VALUE},
                                                {{2, 48000}, {2, 192000}, BAD_VALUE},
                                                {{9, 48000}, {0, 0}, BAD_VALUE},
                                                {{2, 48000}, {9, 0}, BAD_VALUE},
                                                {{0, 48000}, {2, 48000}, BAD_VALUE},
                                                {{2, 0}, {2, 48000}, BAD_VALUE}}) {
        EXPECT_EQ(createAacEncoder()->configure(encoderFormat(pcm, stream), nullptr), expected)
                << pcm.channels << " channels at " << pcm.sampleRate << " Hz to " << stream.channels
                << " at " << stream.sampleRate;
    }
    for (const auto& [key, value] : {std::pair("aac-profile", 5), std::pair("bitrate", 0)}) {
        const sp<AMessage> other = encoderFormat({2, 48000});
        other->setInt32(key, value);
        EXPECT_EQ(createAacEncoder()->configure(other, nullptr), BAD_VALUE) << key;
    }
}

}  // namespace
}  // namespace android
