// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <gui/Surface.h>
#include <media/stagefright/MediaCodec.h>

#include <cmath>
#include <cstring>

#include "codec/AacEncoder.h"
#include "platform/codec/AudioComponentDriver.h"
#include "support/MediaReader.h"
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
struct Feeder {
    AudioComponentDriver* driver;
    Shape shape;
    int64_t firstStampUs = 0;
    size_t blockFrames = 2048;

    bool feed(const std::vector<int16_t>& pcm) const {
        const size_t frames = pcm.size() / shape.channels;
        for (size_t at = 0; at < frames; at += blockFrames) {
            const size_t count = std::min(blockFrames, frames - at);
            const int64_t timeUs = firstStampUs + std::llround(1e6 * at / shape.sampleRate);
            if (!driver->queue(pcm.data() + at * shape.channels,
                               count * shape.channels * sizeof(int16_t), timeUs)) {
                return false;
            }
        }
        return true;
    }
};

// What a stream decodes to, priming included: frame 0 is the first frame of the first unit.
Sound decodeUnits(const AudioComponentDriver& driver) {
    Sound sound;
    sp<ABuffer> config;
    driver.formats()[0]->findBuffer("csd-0", &config);
    const AVCodec* decoder = avcodec_find_decoder(AV_CODEC_ID_AAC);
    CodecContextPtr codec(avcodec_alloc_context3(decoder));
    codec->extradata =
            static_cast<uint8_t*>(av_mallocz(config->size() + AV_INPUT_BUFFER_PADDING_SIZE));
    memcpy(codec->extradata, config->data(), config->size());
    codec->extradata_size = static_cast<int>(config->size());
    EXPECT_GE(avcodec_open2(codec.get(), decoder, nullptr), 0);
    PacketPtr packet(av_packet_alloc());
    FramePtr frame(av_frame_alloc());
    for (const auto& unit : driver.outputs()) {
        av_new_packet(packet.get(), static_cast<int>(unit.bytes.size()));
        memcpy(packet->data, unit.bytes.data(), unit.bytes.size());
        EXPECT_GE(avcodec_send_packet(codec.get(), packet.get()), 0);
        av_packet_unref(packet.get());
        while (avcodec_receive_frame(codec.get(), frame.get()) >= 0) {
            sound.sampleRate = frame->sample_rate;
            sound.channels = frame->ch_layout.nb_channels;
            sound.blocks.emplace_back(sound.frames(), unit.timeUs);
            for (int i = 0; i < frame->nb_samples; ++i) {
                for (int c = 0; c < sound.channels; ++c) {
                    sound.samples.push_back(reinterpret_cast<float*>(frame->extended_data[c])[i]);
                }
            }
        }
    }
    return sound;
}

// Encodes all of it and checks what holds for every stream: order, marks, and times that count
// samples from one unit of priming before the first stamp.
Sound encodeAndDecode(AudioComponentDriver* driver, const sp<AMessage>& format,
                      const Feeder& feeder, const std::vector<int16_t>& pcm) {
    EXPECT_EQ(driver->start(format), OK);
    EXPECT_EQ(driver->formats().size(), 1u) << "the format must not wait for data";
    EXPECT_TRUE(feeder.feed(pcm));
    EXPECT_TRUE(driver->queueEnd());
    EXPECT_TRUE(driver->waitForEnd());
    EXPECT_TRUE(driver->inOrder());
    EXPECT_EQ(driver->formats().size(), 1u);
    const int rate = driver->formatInt32("sample-rate");
    for (size_t k = 0; k < driver->outputs().size(); ++k) {
        const auto& unit = driver->outputs()[k];
        EXPECT_EQ(unit.flags, static_cast<uint32_t>(MediaCodec::BUFFER_FLAG_SYNCFRAME));
        EXPECT_NEAR(unit.timeUs,
                    feeder.firstStampUs + (static_cast<double>(k) - 1) * kUnitFrames * 1e6 / rate,
                    1.5);
    }
    return decodeUnits(*driver);
}

struct Conversion {
    const char* name;
    Shape pcm;
    Shape stream;  // 0: as the PCM
    int64_t firstStampUs;
};
class AacEncoderTimeTest : public testing::TestWithParam<Conversion> {};

// Fails when priming or the resampler's delay moves sound against picture, when the tail is lost,
// or when the last unit is silence only.
TEST_P(AacEncoderTimeTest, ClickAndToneAreWhereTheyWere) {
    const Conversion& conversion = GetParam();
    const int inRate = conversion.pcm.sampleRate;
    const int rate = conversion.stream.sampleRate > 0 ? conversion.stream.sampleRate : inRate;
    constexpr double kSeconds = 1.0301;
    constexpr double kClickSeconds = 0.3;
    const auto frames = static_cast<size_t>(kSeconds * inRate);
    std::vector<float> wave(frames, 0.0f);
    // One period of a raised cosine, 2 ms, and a tone from 0.6 s to the end.
    const int half = inRate / 1000;
    const int centre = static_cast<int>(kClickSeconds * inRate);
    for (int i = -half; i <= half; ++i) {
        wave[centre + i] = static_cast<float>(0.45 + 0.45 * std::cos(M_PI * i / half));
    }
    const auto toneStart = static_cast<size_t>(0.6 * inRate);
    for (size_t i = toneStart; i < frames; ++i) {
        wave[i] = static_cast<float>(0.3 * std::sin(2 * M_PI * 500 * i / inRate));
    }
    AudioComponentDriver driver(createAacEncoder());
    const Feeder feeder = {&driver, conversion.pcm, conversion.firstStampUs};
    const Sound sound = encodeAndDecode(
            &driver, encoderFormat(conversion.pcm, conversion.stream), feeder,
            interleave(std::vector<std::vector<float>>(conversion.pcm.channels, wave)));
    ASSERT_EQ(sound.sampleRate, rate);

    const std::vector<float> mono = sound.channel(0);
    const size_t click = peakPosition(window(mono, rate, 0, 0.55));
    EXPECT_NEAR(sound.timeUs(static_cast<double>(click)),
                conversion.firstStampUs + kClickSeconds * 1e6, 150);

    const double realFrames = static_cast<double>(sound.frames()) - kUnitFrames;
    EXPECT_GE(realFrames, kSeconds * rate - 1);
    EXPECT_LT(realFrames, kSeconds * rate + kUnitFrames);
    // The last 20 ms of the input are there, at the level they had.
    const double end = kSeconds + 1.0 * kUnitFrames / rate;
    EXPECT_NEAR(
            levelDb(window(mono, rate, end - 0.022, 0.02)),
            20 * std::log10(0.3) - 3.01 + (sound.channels > conversion.pcm.channels ? -3.01 : 0),
            1.5);
}

INSTANTIATE_TEST_SUITE_P(
        Shapes, AacEncoderTimeTest,
        testing::Values(Conversion{"stereo_44k1_later", {2, 44100}, {2, 44100}, 1234567},
                        Conversion{"mono_44k1_to_stereo_48k", {1, 44100}, {2, 48000}, 0},
                        Conversion{"stereo_48k_to_44k1", {2, 48000}, {2, 44100}, -21333},
                        Conversion{"mono_8k_to_48k", {1, 8000}, {1, 48000}, 40},
                        Conversion{"odd_rate_to_48k", {1, 37800}, {1, 48000}, 0}),
        [](const auto& info) { return std::string(info.param.name); });

struct Mix {
    const char* layout;  // the command's name
    int channels;
    const char* streamLayout;
    int streamChannels;
};
constexpr double kMixAmplitude = 0.2;

std::vector<double> channelFrequencies(int channels) {
    std::vector<double> frequencies;
    // Low enough for the band-limited bass channel that AAC codes up to about 100 Hz apart.
    for (int channel = 0; channel < channels; ++channel)
        frequencies.push_back(60 + 230 * channel);
    if (channels > 3) std::swap(frequencies[0], frequencies[3]);
    return frequencies;
}

void expectSameLevels(const Sound& ours, const Sound& theirs,
                      const std::vector<double>& frequencies) {
    ASSERT_EQ(ours.channels, theirs.channels);
    ASSERT_EQ(ours.sampleRate, theirs.sampleRate);
    constexpr double kAudibleDb = -45;
    int audible = 0;
    for (int channel = 0; channel < ours.channels; ++channel) {
        const auto mine = window(ours.channel(channel), ours.sampleRate, 0.2, 0.7);
        const auto other = window(theirs.channel(channel), theirs.sampleRate, 0.2, 0.7);
        for (double frequency : frequencies) {
            const double level = toneDb(mine, ours.sampleRate, frequency);
            const double expected = toneDb(other, theirs.sampleRate, frequency);
            if (level < kAudibleDb && expected < kAudibleDb) continue;
            ++audible;
            EXPECT_NEAR(level, expected, 0.5)
                    << "channel " << channel << ", " << frequency << " Hz";
        }
    }
    EXPECT_GT(audible, 0);
}

class AacEncoderMixTest : public testing::TestWithParam<Mix> {};

// Each channel has a tone of its own, so a swapped, lost or attenuated channel shows.
TEST_P(AacEncoderMixTest, LevelsAreThoseOfTheCommand) {
    const Mix& mix = GetParam();
    SCOPED_TRACE(std::string(mix.layout) + " to " + mix.streamLayout);
    const std::vector<double> frequencies = channelFrequencies(mix.channels);
    ClipOptions options;
    options.extension = "wav";
    options.audioCodec = "pcm_s16le";
    options.seconds = 1;
    const std::string source = sineClip(frequencies, kMixAmplitude, options, mix.layout);
    const std::string target = TempDir::ofProcess().file("mix.m4a");
    runOrDie({"ffmpeg", "-loglevel", "error", "-nostdin", "-y", "-i", source, "-c:a", "aac", "-b:a",
              "128k", "-af", std::string("aformat=channel_layouts=") + mix.streamLayout, target});

    std::vector<std::vector<float>> waves;
    for (double frequency : frequencies) {
        waves.push_back(sine(frequency, kMixAmplitude, options.sampleRate, options.sampleRate));
    }
    AudioComponentDriver driver(createAacEncoder());
    const Feeder feeder = {&driver, {mix.channels, options.sampleRate}};
    const Sound sound = encodeAndDecode(
            &driver, encoderFormat({mix.channels, options.sampleRate}, {mix.streamChannels, 0}),
            feeder, interleave(waves));
    EXPECT_EQ(driver.formatInt32("channel-count"), mix.streamChannels);
    expectSameLevels(sound, decodeSound(target), frequencies);
}

INSTANTIATE_TEST_SUITE_P(Layouts, AacEncoderMixTest,
                         testing::Values(Mix{"3.0", 3, "stereo", 2}, Mix{"3.0", 3, "3.0", 3},
                                         Mix{"4.0", 4, "stereo", 2}, Mix{"5.0", 5, "stereo", 2},
                                         Mix{"6.1", 7, "stereo", 2}, Mix{"7.1", 8, "stereo", 2},
                                         Mix{"7.1", 8, "5.1", 6}, Mix{"7.1", 8, "7.1", 8}));

// Twelve channels have no names and no known mix.
TEST(AacEncoderTest, UnknownLayoutsKeepTheirFirstChannels) {
    const std::vector<double> frequencies = channelFrequencies(12);
    std::vector<std::vector<float>> waves;
    for (double frequency : frequencies)
        waves.push_back(sine(frequency, 0.2, 48000, 48000));
    AudioComponentDriver driver(createAacEncoder());
    const Feeder feeder = {&driver, {12, 48000}};
    const Sound sound = encodeAndDecode(&driver, encoderFormat({12, 48000}, {2, 48000}), feeder,
                                        interleave(waves));
    ASSERT_EQ(sound.channels, 2);
    for (int channel = 0; channel < 2; ++channel) {
        const auto heard = window(sound.channel(channel), 48000, 0.2, 0.7);
        EXPECT_NEAR(toneDb(heard, 48000, frequencies[channel]), 20 * std::log10(0.2), 0.5);
    }
}

// 9,415 frames become 10,247.3: ten units and a few frames, fewer than the resampler holds back. If
// those were lost, so would be the last unit.
TEST(AacEncoderTest, TheResamplersRestIsEncoded) {
    AudioComponentDriver driver(createAacEncoder());
    encodeAndDecode(&driver, encoderFormat({1, 44100}, {1, 48000}), {&driver, {1, 44100}},
                    interleave({sine(700, 0.5, 44100, 9415)}));
    EXPECT_EQ(driver.outputs().size(), 1u + 10 + 1);
}

TEST(AacEncoderTest, ResultDoesNotDependOnTheBlocksOfTheInput) {
    const std::vector<int16_t> pcm = interleave({sine(700, 0.5, 44100, 8820)});
    std::vector<std::vector<uint8_t>> streams;
    for (size_t blockFrames : {1u, 333u, 2048u, 8820u}) {
        AudioComponentDriver driver(createAacEncoder());
        encodeAndDecode(&driver, encoderFormat({1, 44100}, {1, 48000}),
                        {&driver, {1, 44100}, 0, blockFrames}, pcm);
        std::vector<uint8_t> stream;
        for (const auto& unit : driver.outputs()) {
            stream.insert(stream.end(), unit.bytes.begin(), unit.bytes.end());
        }
        streams.push_back(stream);
    }
    for (const auto& stream : streams)
        EXPECT_EQ(stream, streams[0]);
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
                   {"small gap", 95000, 0, {1, 48000}, {1, 48000}},
                   {"small overlap", -95000, 0, {1, 48000}, {1, 48000}},
                   {"broken stamp", INT64_MAX - 3000000, 0, {1, 48000}, {1, 48000}},
                   {"broken early stamp", INT64_MIN, 0, {1, 48000}, {1, 48000}}};
    for (const auto& shift : kShifts) {
        SCOPED_TRACE(shift.name);
        AudioComponentDriver driver(createAacEncoder());
        const int rate = shift.pcm.sampleRate;
        const auto second = interleave({sine(400, 0.5, rate, rate)});
        ASSERT_EQ(driver.start(encoderFormat(shift.pcm, shift.stream)), OK);
        ASSERT_TRUE((Feeder{&driver, shift.pcm, 0}).feed(second));
        ASSERT_TRUE((Feeder{&driver, shift.pcm, 1000000 + shift.shiftUs}).feed(second));
        ASSERT_TRUE(driver.queueEnd());
        ASSERT_TRUE(driver.waitForEnd());
        const Sound sound = decodeUnits(driver);
        const double unit = 1.0 * kUnitFrames / sound.sampleRate;
        EXPECT_GE(sound.seconds(), 2 + shift.addedSeconds + unit - 0.001);
        EXPECT_LT(sound.seconds(), 2 + shift.addedSeconds + 2 * unit + 0.001);
        if (shift.addedSeconds <= 0) continue;
        // Silence in the gap, the tone on both sides of it.
        const auto level = [&sound](double from, double length) {
            return levelDb(window(sound.channel(0), sound.sampleRate, from, length));
        };
        EXPECT_LT(level(unit + 1.05, shift.addedSeconds - 0.1), -60);
        EXPECT_GT(level(unit + 0.9, 0.08), -12);
        EXPECT_GT(level(unit + 1.02 + shift.addedSeconds, 0.1), -12);
    }
}

TEST(AacEncoderTest, ReportsItsFormatBeforeAnyInput) {
    AudioComponentDriver driver(createAacEncoder());
    ASSERT_EQ(driver.start(encoderFormat({6, 44100}, {2, 48000})), OK);
    ASSERT_EQ(driver.formats().size(), 1u);
    const sp<AMessage> format = driver.formats()[0];
    AString mime;
    ASSERT_TRUE(format->findString("mime", &mime));
    EXPECT_STREQ(mime.c_str(), "audio/mp4a-latm");
    EXPECT_EQ(driver.formatInt32("channel-count"), 2);
    EXPECT_EQ(driver.formatInt32("sample-rate"), 48000);
    EXPECT_EQ(driver.formatInt32("bitrate"), 128000);
    EXPECT_EQ(driver.formatInt32("aac-profile"), 2);
    EXPECT_EQ(driver.formatInt32("encoder-delay"), kUnitFrames);
    sp<ABuffer> config;
    ASSERT_TRUE(format->findBuffer("csd-0", &config));
    ASSERT_GE(config->size(), 2u);
    // Type 2 (LC), index 3 (48,000 Hz), 2 channels.
    EXPECT_EQ(config->data()[0], 0x11);
    EXPECT_EQ(config->data()[1], 0x90);
}

TEST(AacEncoderTest, EndWithoutInputIsJustTheEnd) {
    AudioComponentDriver driver(createAacEncoder());
    ASSERT_EQ(driver.start(encoderFormat({2, 44100}, {2, 48000})), OK);
    ASSERT_TRUE(driver.queue(nullptr, 0, 0));
    ASSERT_TRUE(driver.queueEnd());
    ASSERT_TRUE(driver.waitForEnd());
    EXPECT_TRUE(driver.outputs().empty());
    EXPECT_TRUE(driver.inOrder());
}

// The end comes with the last of them, and what the resampler holds is nearly all there is.
TEST(AacEncoderTest, AFewFramesMakeOneUnitAndThePriming) {
    for (int streamRate : {44100, 48000}) {
        AudioComponentDriver driver(createAacEncoder());
        ASSERT_EQ(driver.start(encoderFormat({1, 44100}, {1, streamRate})), OK);
        const std::vector<int16_t> pcm(60, 1000);
        ASSERT_TRUE(driver.queue(pcm.data(), pcm.size() * sizeof(int16_t), 0,
                                 MediaCodec::BUFFER_FLAG_EOS));
        ASSERT_TRUE(driver.waitForEnd());
        EXPECT_EQ(driver.outputs().size(), 2u) << streamRate;
    }
}

// Also while a gap of hours is being filled.
TEST(AacEncoderTest, StopsWhileItEncodesAndStartsAgain) {
    const sp<CodecComponent> encoder = createAacEncoder();
    const std::vector<int16_t> block(2 * 2048, 500);
    for (int blocks : {0, 1, 2, 7, 20}) {
        AudioComponentDriver driver(encoder);
        ASSERT_EQ(driver.start(encoderFormat({2, 48000}, {2, 44100})), OK);
        for (int i = 0; i < blocks; ++i) {
            const int64_t timeUs = i == 6 ? INT64_C(36000) * 1000000 : 0;
            ASSERT_TRUE(driver.queue(block.data(), block.size() * sizeof(int16_t), timeUs));
            if (i == 6) break;
        }
        driver.stop();
        EXPECT_TRUE(driver.inOrder());
    }
    AudioComponentDriver driver(encoder);
    const Sound sound = encodeAndDecode(&driver, encoderFormat({1, 48000}), {&driver, {1, 48000}},
                                        interleave({sine(440, 0.5, 48000, 48000)}));
    EXPECT_NEAR(dominantFrequency(window(sound.channel(0), 48000, 0.2, 0.7), 48000), 440, 1);
}

TEST(AacEncoderTest, KnowsWhatAacHas) {
    const struct {
        Shape pcm;
        Shape stream;
        status_t expected;
    } kFormats[] = {
            {{2, 7350}, {0, 0}, OK},
            {{8, 96000}, {0, 0}, OK},
            {{2, 37800}, {2, 48000}, OK},
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
    sp<AMessage> otherProfile = encoderFormat({2, 48000});
    otherProfile->setInt32("aac-profile", 5);
    EXPECT_EQ(createAacEncoder()->configure(otherProfile, nullptr), BAD_VALUE);
}

TEST(AacEncoderTest, InputsHoldWhatTheClientAskedForAndAtLeast256KiB) {
    const sp<CodecComponent> encoder = createAacEncoder();
    EXPECT_STREQ(encoder->name().c_str(), "c2.linux.aac.encoder");
    EXPECT_EQ(encoder->configure(encoderFormat({2, 48000}), nullptr), OK);
    EXPECT_EQ(encoder->inputCapacity(), 256u * 1024);
    EXPECT_EQ(encoder->inputCount(), 4u);
    sp<AMessage> large = encoderFormat({2, 48000});
    large->setInt32("max-input-size", 1000000);
    EXPECT_EQ(encoder->configure(large, nullptr), OK);
    EXPECT_EQ(encoder->inputCapacity(), 1000000u);
}

}  // namespace
}  // namespace android
