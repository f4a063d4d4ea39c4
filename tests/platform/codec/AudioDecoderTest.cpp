// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <gui/Surface.h>
#include <media/stagefright/MediaCodec.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "codec/AvAudioDecoder.h"
#include "platform/codec/AudioComponentDriver.h"
#include "platform/codec/AudioPackets.h"
#include "platform/codec/FaultLog.h"
#include "support/ProcessRunner.h"
#include "support/Sound.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

namespace android {
namespace {

using namespace oxa::test;

sp<CodecComponent> newDecoder() {
    return createAvAudioDecoder("audio/x-any");
}

std::vector<int16_t> pcmOf(const std::vector<AudioComponentDriver::Output>& outputs) {
    std::vector<int16_t> pcm;
    for (const auto& output : outputs) {
        const auto* samples = reinterpret_cast<const int16_t*>(output.bytes.data());
        pcm.insert(pcm.end(), samples, samples + output.bytes.size() / sizeof(int16_t));
    }
    return pcm;
}

// The same samples, but for their rounding.
void expectSamples(const std::vector<int16_t>& pcm, const Sound& expected) {
    ASSERT_FALSE(expected.empty());
    ASSERT_EQ(pcm.size(), expected.samples.size());
    double largest = 0;
    for (size_t i = 0; i < pcm.size(); ++i) {
        const float sample = std::clamp(expected.samples[i] * 32768, -32768.0f, 32767.0f);
        largest = std::max<double>(largest, std::abs(pcm[i] - sample));
    }
    EXPECT_LT(largest, 1.5);
}

// Each output: at most 2,048 frames, no room beyond its size, and its time the end of the former.
void expectWellCut(const AudioComponentDriver& driver, double maxStepUs) {
    const int channels = driver.formatInt32("channel-count");
    const int sampleRate = driver.formatInt32("sample-rate");
    double nextUs = driver.outputs().empty() ? 0 : driver.outputs()[0].timeUs;
    for (const auto& output : driver.outputs()) {
        const size_t frames = output.bytes.size() / sizeof(int16_t) / channels;
        EXPECT_EQ(output.bytes.size(), output.capacity);
        EXPECT_LE(frames, 2048u);
        EXPECT_GT(frames, 0u);
        EXPECT_NEAR(output.timeUs, nextUs, maxStepUs);
        nextUs = output.timeUs + 1e6 * frames / sampleRate;
    }
}

struct Source {
    const char* name;
    std::string (*path)();
};

constexpr double kToneAmplitude = 0.3;
constexpr double kToneSeconds = 1.5;

std::string toneFile(const char* codec, const char* extension, int channels, int sampleRate,
                     std::vector<std::string> arguments = {}) {
    ClipOptions options;
    options.audioCodec = codec;
    options.extension = extension;
    options.sampleRate = sampleRate;
    options.seconds = kToneSeconds;
    options.audioArguments = std::move(arguments);
    std::vector<double> frequencies;
    for (int channel = 0; channel < channels; ++channel)
        frequencies.push_back(300 + 130 * channel);
    return sineClip(frequencies, kToneAmplitude, options);
}

// Packets of more than a megabyte.
std::string largeBlocks() {
    const std::string noise = TempDir::ofProcess().file("noise.mka");
    runOrDie({"ffmpeg", "-loglevel", "error", "-nostdin", "-y", "-f", "lavfi", "-i",
              "anoisesrc=r=48000:d=2:a=0.9:seed=7,aformat=channel_layouts=mono,"
              "pan=7.1|c0=c0|c1=-1*c0|c2=0.5*c0|c3=0.7*c0|c4=0.3*c0|c5=c0|c6=0.9*c0|c7=0.2*c0",
              "-c:a", "flac", "-frame_size", "65535", noise});
    return noise;
}

class AudioDecoderSourceTest : public testing::TestWithParam<Source> {};

// Fails when priming or padding is not trimmed as the container says, when a tail stays in the
// decoder or the converter, when channels are swapped, or when cutting loses or repeats samples.
TEST_P(AudioDecoderSourceTest, GivesAllSamplesInTheirPlaces) {
    const std::string path = GetParam().path();
    const AudioPackets source(path);
    AudioComponentDriver driver(newDecoder());
    ASSERT_TRUE(source.decode(&driver));
    EXPECT_TRUE(driver.inOrder());
    ASSERT_EQ(driver.formats().size(), 1u);
    AString mime;
    EXPECT_TRUE(driver.formats()[0]->findString("mime", &mime));
    EXPECT_STREQ(mime.c_str(), "audio/raw");
    EXPECT_EQ(driver.formatInt32("pcm-encoding"), 2);

    const Sound reference = decodeSound(path);
    expectSamples(pcmOf(driver.outputs()), reference);
    EXPECT_EQ(driver.formatInt32("channel-count"), reference.channels);
    EXPECT_EQ(driver.formatInt32("sample-rate"), reference.sampleRate);
    EXPECT_NEAR(driver.outputs()[0].timeUs, reference.timeUs(0), 1.5);
    expectWellCut(driver, 10001);
}

INSTANTIATE_TEST_SUITE_P(
        Files, AudioDecoderSourceTest,
        testing::Values(
                Source{"aac_late_mp4", [] { return mediaPath("friday_audio_starts_1200ms.mp4"); }},
                Source{"vorbis_webm", [] { return mediaPath("flower_540p_vp8_vorbis.webm"); }},
                Source{"mp2_ts", [] { return mediaPath("bunny_480i_tff_mpeg2_mp2.ts"); }},
                Source{"mp3_with_delay", [] { return mediaPath("roar.mp3"); }},
                Source{"opus_preskip", [] { return toneFile("libopus", "mkv", 2, 48000); }},
                Source{"ac3_51", [] { return toneFile("ac3", "ac3", 6, 48000); }},
                Source{"flac_24_bit",
                       [] {
                           return toneFile("flac", "flac", 2, 96000, {"-sample_fmt", "s32"});
                       }},
                Source{"flac_large_blocks", largeBlocks},
                Source{"pcm_12_channels", [] { return toneFile("pcm_s16le", "wav", 12, 44100); }},
                Source{"pcm_float_mono", [] { return toneFile("pcm_f32le", "wav", 1, 22050); }},
                Source{"tiny_frames", [] { return toneFile("truehd", "mkv", 2, 48000); }}),
        [](const auto& info) { return std::string(info.param.name); });

// A stream that says in its header that bands above half the rate follow (HE-AAC) comes out with
// the doubled rate; taken for the plain rate it would sound an octave low.
TEST(AudioDecoderTest, HeAacComesOutWithItsRealRate) {
    const AudioPackets source(toneFile("aac", "m4a", 1, 22050));
    ASSERT_NE(source.track, nullptr);
    // Object type 5 (SBR), index 7 (22,050 Hz), one channel, extended index 4 (44,100 Hz), type 2.
    const uint8_t config[] = {0x2B, 0x8A, 0x08, 0x00};
    sp<AMessage> format = new AMessage;
    format->setString("mime", "audio/mp4a-latm");
    format->setInt32("channel-count", 1);
    format->setInt32("sample-rate", 22050);
    format->setBuffer("csd-0", ABuffer::CreateAsCopy(config, sizeof(config)));
    AudioComponentDriver driver(createAvAudioDecoder("audio/mp4a-latm"));
    ASSERT_EQ(driver.start(format), OK);
    ASSERT_TRUE(source.feed(&driver));
    ASSERT_TRUE(driver.queueEnd());
    ASSERT_TRUE(driver.waitForEnd());
    ASSERT_EQ(driver.formats().size(), 1u);
    ASSERT_EQ(driver.formatInt32("sample-rate"), 44100);
    const int channels = driver.formatInt32("channel-count");
    const Sound sound = soundFromPcm(pcmOf(driver.outputs()), channels, 44100);
    EXPECT_NEAR(sound.seconds(), kToneSeconds, 0.1);
    EXPECT_NEAR(dominantFrequency(window(sound.channel(0), 44100, 0.3, 1), 44100), 300, 2);
    expectWellCut(driver, 2);
}

// The client hears of one format; the second part, with another rate or another number of
// channels, must come in the first part's shape, with its pitch, level, length and place in time.
TEST(AudioDecoderTest, ALaterChangeIsConvertedToTheFirstFormat) {
    const struct {
        int channels;
        int sampleRate;
        double leftGainDb;  // how loud the first channel goes to the left side
    } kSecondParts[] = {{1, 32000, -3.01}, {6, 48000, 0}};
    for (const auto& second : kSecondParts) {
        SCOPED_TRACE(second.channels);
        const std::string path = TempDir::ofProcess().file("joined.aac");
        ASSERT_TRUE(
                writeFile(path, readFile(toneFile("aac", "aac", 2, 48000)) +
                                        readFile(toneFile("aac", "aac", second.channels,
                                                          second.sampleRate, {"-b:a", "256k"}))));
        AudioComponentDriver driver(newDecoder());
        ASSERT_TRUE(AudioPackets(path).decode(&driver));
        ASSERT_EQ(driver.formats().size(), 1u);
        EXPECT_EQ(driver.formatInt32("channel-count"), 2);
        EXPECT_EQ(driver.formatInt32("sample-rate"), 48000);
        const Sound sound = soundFromPcm(pcmOf(driver.outputs()), 2, 48000);
        EXPECT_NEAR(sound.seconds(), 2 * kToneSeconds, 0.15);
        EXPECT_NEAR(dominantFrequency(window(sound.channel(1), 48000, 0.3, 1), 48000), 430, 2);
        const std::vector<float> left = window(sound.channel(0), 48000, kToneSeconds + 0.3, 1);
        EXPECT_NEAR(dominantFrequency(left, 48000), 300, 2);
        EXPECT_NEAR(toneDb(left, 48000, 300), 20 * std::log10(kToneAmplitude) + second.leftGainDb,
                    0.5);
    }
}

// With packets of 2.5 ms several make one output; what was decoded before the jump must not be
// taken for something after it.
TEST(AudioDecoderTest, TimesFollowAJumpOfTheStream) {
    const struct {
        std::string path;
        double packetUs;
        size_t from;  // the packets that are left out
        size_t to;
    } kJumps[] = {
            {mediaPath("flower_540p_h264_aac.mp4"), 1024e6 / 48000, 50, 100},
            {toneFile("libopus", "mkv", 2, 48000, {"-frame_duration", "2.5"}), 2500, 203, 403}};
    for (const auto& jump : kJumps) {
        SCOPED_TRACE(jump.path);
        const AudioPackets source(jump.path);
        ASSERT_GT(source.packets.size(), jump.to);
        AudioComponentDriver driver(newDecoder());
        ASSERT_EQ(driver.start(source.format()), OK);
        ASSERT_TRUE(source.feed(&driver, 0, jump.from));
        ASSERT_TRUE(source.feed(&driver, jump.to));
        ASSERT_TRUE(driver.queueEnd());
        ASSERT_TRUE(driver.waitForEnd());
        int jumps = 0;
        double endUs = driver.outputs()[0].timeUs;
        for (const auto& output : driver.outputs()) {
            const double gapUs = output.timeUs - endUs;
            endUs = output.timeUs + output.bytes.size() / 4 * 1e6 / 48000;
            if (gapUs < 2000) continue;
            ++jumps;
            EXPECT_NEAR(gapUs, static_cast<double>(jump.to - jump.from) * jump.packetUs, 1000);
        }
        EXPECT_EQ(jumps, 1);
        const Sound reference = decodeSound(jump.path);
        EXPECT_NEAR(endUs, reference.timeUs(reference.frames()), 1000);
    }
}

// A client that reads without the extractor queues plain times.
TEST(AudioDecoderTest, QueuedTimesCountWithoutPacketProperties) {
    const AudioPackets source(mediaPath("bunny_360p_aac51.ts"));
    AudioComponentDriver driver(newDecoder());
    ASSERT_EQ(driver.start(source.format()), OK);
    for (size_t i = 0; i < 10; ++i) {
        const AVPacket& packet = *source.packets[i];
        ASSERT_TRUE(driver.queue(packet.data, packet.size, source.timeUs(packet)));
    }
    ASSERT_TRUE(driver.queueEnd());
    ASSERT_TRUE(driver.waitForEnd());
    ASSERT_FALSE(driver.outputs().empty());
    EXPECT_NEAR(driver.outputs()[0].timeUs, source.timeUs(*source.packets[0]), 20);
}

struct Damage {
    size_t from;
    size_t to;
    bool cut;  // shortened instead of overwritten
};

class AudioDecoderDamageTest : public testing::TestWithParam<Damage> {};

// What is behind the damage must be what it is without damage, at the same time; the client gets no
// error, and the listener hears of it a few times, not for every packet.
TEST_P(AudioDecoderDamageTest, DamageIsSkippedAndCounted) {
    const Damage& damage = GetParam();
    const std::string path = mediaPath("flower_540p_h264_aac.mp4");
    AudioPackets source(path);
    std::mt19937 random(3);
    const size_t end = std::min(damage.to, source.packets.size());
    for (size_t i = damage.from; i < end; ++i) {
        AVPacket* packet = source.packets[i].get();
        ASSERT_GE(av_packet_make_writable(packet), 0);
        if (damage.cut) {
            av_shrink_packet(packet, packet->size / 3);
        } else {
            for (int byte = 0; byte < packet->size; ++byte) {
                packet->data[byte] = static_cast<uint8_t>(random());
            }
        }
    }
    FaultLog log;
    AudioComponentDriver driver(newDecoder());
    ASSERT_TRUE(source.decode(&driver));
    EXPECT_TRUE(driver.inOrder());
    EXPECT_EQ(driver.errors(), 0);
    EXPECT_EQ(driver.formats().size(), 1u);

    const auto faults = log.faults();
    ASSERT_FALSE(faults.empty());
    EXPECT_LE(faults.size(), 4u);
    EXPECT_EQ(faults.front().count, 1u);
    for (const auto& fault : faults) {
        EXPECT_EQ(fault.source, oxa::host::FaultSource::kDecoder);
        EXPECT_FALSE(fault.ended);
    }

    if (end + 20 > source.packets.size()) return;
    const Sound reference = decodeSound(path);
    size_t compared = 0;
    const int64_t healthyFromUs = source.timeUs(*source.packets[end + 2]);
    for (const auto& output : driver.outputs()) {
        if (output.timeUs < healthyFromUs) continue;
        const auto first = static_cast<size_t>(
                std::lround((output.timeUs - reference.timeUs(0)) * 48000 / 1e6) * 2);
        const auto* samples = reinterpret_cast<const int16_t*>(output.bytes.data());
        for (size_t i = 0; i < output.bytes.size() / 2; ++i, ++compared) {
            ASSERT_LT(first + i, reference.samples.size());
            ASSERT_NEAR(samples[i], reference.samples[first + i] * 32768, 1.5);
        }
    }
    EXPECT_GT(compared, 48000u);
}

INSTANTIATE_TEST_SUITE_P(Packets, AudioDecoderDamageTest,
                         testing::Values(Damage{60, 100, false}, Damage{0, 15, true},
                                         Damage{0, SIZE_MAX, false}));

// A client sets its sound up when it hears the format: it must hear one even if nothing decodes.
TEST(AudioDecoderTest, EndWithNothingDecodedHasAFormat) {
    const AudioPackets source(mediaPath("roar.mp3"));
    AudioComponentDriver driver(newDecoder());
    ASSERT_EQ(driver.start(source.format()), OK);
    ASSERT_TRUE(driver.queue(nullptr, 0, 0));
    ASSERT_TRUE(driver.queueEnd());
    ASSERT_TRUE(driver.waitForEnd());
    EXPECT_TRUE(driver.inOrder());
    EXPECT_TRUE(driver.outputs().empty());
    ASSERT_EQ(driver.formats().size(), 1u);
    EXPECT_EQ(driver.formatInt32("channel-count"), 2);
    EXPECT_EQ(driver.formatInt32("sample-rate"), 44100);
}

TEST(AudioDecoderTest, TheEndMayComeWithTheLastPacket) {
    const AudioPackets source(mediaPath("roar.mp3"));
    const size_t last = source.packets.size() - 1;
    AudioComponentDriver driver(newDecoder());
    ASSERT_EQ(driver.start(source.format()), OK);
    ASSERT_TRUE(source.feed(&driver, 0, last));
    const AVPacket& packet = *source.packets[last];
    source.track->pushSample(packet, source.timeUs(packet));
    ASSERT_TRUE(driver.queue(packet.data, packet.size, source.timeUs(packet),
                             MediaCodec::BUFFER_FLAG_EOS));
    ASSERT_TRUE(driver.waitForEnd());
    expectSamples(pcmOf(driver.outputs()), decodeSound(mediaPath("roar.mp3")));
}

// Stop comes while the worker decodes, waits for input, or waits for a client that keeps all
// outputs; afterwards the same component decodes the whole file.
TEST(AudioDecoderTest, StopsAtAnyMomentAndStartsAgain) {
    const AudioPackets source(mediaPath("roar.mp3"));
    const sp<CodecComponent> decoder = newDecoder();
    std::mt19937 random(11);
    for (int round = 0; round < 20; ++round) {
        AudioComponentDriver driver(decoder);
        if (round % 2 == 0) driver.holdOutputs();
        ASSERT_EQ(driver.start(source.format()), OK);
        // With held outputs inputs come back only until the worker waits.
        ASSERT_TRUE(source.feed(&driver, 0, round % 2 == 0 ? 4 + random() % 3 : random() % 60));
        if (round % 4 == 3) {
            ASSERT_TRUE(driver.queueEnd());
        }
        driver.stop();
        driver.stop();
        EXPECT_TRUE(driver.inOrder());
        source.track->clearSamples();
    }
    AudioComponentDriver driver(decoder);
    ASSERT_TRUE(source.decode(&driver));
    expectSamples(pcmOf(driver.outputs()), decodeSound(mediaPath("roar.mp3")));
}

TEST(AudioDecoderTest, RefusesWhatItCannotDecode) {
    EXPECT_EQ(createAvAudioDecoder("video/avc"), nullptr);
    sp<AMessage> format = new AMessage;
    format->setString("mime", "audio/unheard-of");
    format->setInt32("channel-count", 2);
    format->setInt32("sample-rate", 48000);
    const sp<CodecComponent> unknown = createAvAudioDecoder("audio/unheard-of");
    EXPECT_EQ(unknown->configure(format, nullptr), BAD_VALUE);

    const sp<CodecComponent> aac = createAvAudioDecoder("audio/mp4a-latm");
    EXPECT_STREQ(aac->name().c_str(), "c2.linux.aac.decoder");
    EXPECT_EQ(aac->configure(new AMessage, nullptr), BAD_VALUE);
    AudioComponentDriver driver(aac);
    EXPECT_EQ(aac->start(&driver), INVALID_OPERATION);

    format->setInt32("max-input-size", 8 * 1024 * 1024);
    EXPECT_EQ(aac->configure(format, nullptr), OK);
    EXPECT_EQ(aac->inputCapacity(), 8u * 1024 * 1024);
}

}  // namespace
}  // namespace android
