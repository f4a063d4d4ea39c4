// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gui/Surface.h>
#include <media/stagefright/MediaCodec.h>

#include <random>

#include "codec/AvAudioDecoder.h"
#include "ffmpeg/TrackParameters.h"
#include "platform/container/TrackSamples.h"
#include "support/AudioComponentDriver.h"
#include "support/FaultLog.h"
#include "support/MediaReader.h"
#include "support/Sound.h"
#include "support/Test.h"

namespace android {
namespace {

using namespace oxa::test;

sp<CodecComponent> newDecoder() {
    return createAvAudioDecoder("audio/x-any");
}

sp<AMessage> formatOfPcm(int channels, int sampleRate) {
    const sp<AMessage> format = new AMessage;
    format->setInt32("channel-count", channels);
    format->setInt32("sample-rate", sampleRate);
    return format;
}

// The packets of a file's first sound stream, and the track format that an extractor gives.
struct AudioPackets {
    explicit AudioPackets(const std::string& path) {
        MediaReader reader(path);
        const int stream = reader.findStream(AVMEDIA_TYPE_AUDIO);
        reader.readPackets([&](const AVPacket& packet) {
            if (packet.stream_index == stream) packets.emplace_back(av_packet_clone(&packet));
        });
        const AVStream* input = reader.format()->streams[stream];
        // The number of the page's samples, as the extractor adds it.
        if (input->codecpar->codec_id == AV_CODEC_ID_VORBIS) {
            for (const PacketPtr& packet : packets)
                av_grow_packet(packet.get(), 4);
        }
        track = new TrackParameters(*input->codecpar, input->time_base, -reader.toUs(stream, 0));
    }

    sp<AMessage> format() const {
        sp<AMessage> format = new AMessage;
        format->setString("mime", "audio/x-any");
        format->setObject(kFormatKeyTrackParameters, track);
        return format;
    }

    // Queues packets [from, to) with their properties, the last one with the flags; false when the
    // component stopped taking.
    bool feed(AudioComponentDriver* driver, size_t from = 0, size_t to = SIZE_MAX,
              uint32_t lastFlags = 0) const {
        to = std::min(to, packets.size());
        for (size_t i = from; i < to; ++i) {
            const AVPacket& packet = *packets[i];
            track->pushSample(packet, timeUs(packet));
            if (!driver->queue(packet.data, packet.size, timeUs(packet),
                               i + 1 == to ? lastFlags : 0)) {
                return false;
            }
        }
        return true;
    }

    // Starts the driver's decoder, queues all and waits for the end; false when a step fails.
    bool decode(AudioComponentDriver* driver) const {
        return driver->start(format()) == OK && feed(driver) && driver->queueEnd() &&
               driver->waitForEnd();
    }

    int64_t timeUs(const AVPacket& packet) const {
        return track->toUs(packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts);
    }

    sp<TrackParameters> track;
    std::vector<PacketPtr> packets;
};

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

// Each output: at most 2,048 frames, and its time the end of the former.
void expectWellCut(const AudioComponentDriver& driver, double maxStepUs) {
    const int channels = driver.formatInt32("channel-count");
    const int sampleRate = driver.formatInt32("sample-rate");
    double nextUs = driver.outputs().empty() ? 0 : driver.outputs()[0].timeUs;
    for (const auto& output : driver.outputs()) {
        const size_t frames = output.bytes.size() / sizeof(int16_t) / channels;
        EXPECT_LE(frames, 2048u);
        EXPECT_GT(frames, 0u);
        EXPECT_NEAR(output.timeUs, nextUs, maxStepUs);
        nextUs = output.timeUs + 1e6 * frames / sampleRate;
    }
}

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

// Fails when priming or padding is not trimmed as the container says, when a tail stays in the
// decoder or the converter, when channels are swapped, or when cutting loses or repeats samples.
TEST(AudioDecoderTest, givesAllSamplesInTheirPlaces) {
    for (const std::string& path :
         {mediaPath("friday_audio_starts_1200ms.mp4"), mediaPath("flower_540p_vp8_vorbis.webm"),
          mediaPath("bunny_480i_tff_mpeg2_mp2.ts"), mediaPath("roar.mp3"),
          toneFile("libopus", "mkv", 2, 48000), toneFile("ac3", "ac3", 6, 48000),
          toneFile("flac", "flac", 2, 96000, {"-sample_fmt", "s32"}),
          toneFile("pcm_s16le", "wav", 12, 44100), toneFile("pcm_f32le", "wav", 1, 22050),
          toneFile("truehd", "mkv", 2, 48000)}) {
        SCOPED_TRACE(path);
        AudioComponentDriver driver(newDecoder());
        ASSERT_TRUE(AudioPackets(path).decode(&driver));
        EXPECT_TRUE(driver.inOrder());
        ASSERT_EQ(driver.formats().size(), 1u);
        AString mime;
        EXPECT_TRUE(driver.formats()[0]->findString("mime", &mime));
        EXPECT_STREQ(mime.c_str(), "audio/raw");
        EXPECT_EQ(driver.formatInt32("pcm-encoding"), 2);

        const Sound reference = decodeSound(path);
        expectSamples(driver.pcm(), reference);
        EXPECT_EQ(driver.formatInt32("channel-count"), reference.channels);
        EXPECT_EQ(driver.formatInt32("sample-rate"), reference.sampleRate);
        EXPECT_NEAR(driver.outputs()[0].timeUs, reference.timeUs(0), 1.5);
        expectWellCut(driver, 10001);
    }
}

// A stream that says in its header that bands above half the rate follow (HE-AAC) comes out with
// the doubled rate; taken for the plain rate it would sound an octave low. The client reads without
// the extractor: what it queues are plain times.
TEST(AudioDecoderTest, heAacComesOutWithItsRealRate) {
    const AudioPackets source(toneFile("aac", "m4a", 1, 22050));
    // Object type 5 (SBR), index 7 (22,050 Hz), one channel, extended index 4 (44,100 Hz), type 2.
    const uint8_t config[] = {0x2B, 0x8A, 0x08, 0x00};
    const sp<AMessage> format = formatOfPcm(1, 22050);
    format->setBuffer("csd-0", ABuffer::CreateAsCopy(config, sizeof(config)));
    AudioComponentDriver driver(createAvAudioDecoder("audio/mp4a-latm"));
    ASSERT_EQ(driver.start(format), OK);
    ASSERT_TRUE(source.feed(&driver));
    ASSERT_TRUE(driver.queueEnd() && driver.waitForEnd());
    ASSERT_EQ(driver.formats().size(), 1u);
    ASSERT_EQ(driver.formatInt32("sample-rate"), 44100);
    EXPECT_NEAR(driver.outputs()[0].timeUs, source.timeUs(*source.packets[0]), 20);
    const int channels = driver.formatInt32("channel-count");
    const Sound sound = soundFromPcm(driver.pcm(), channels, 44100);
    EXPECT_NEAR(sound.seconds(), kToneSeconds, 0.1);
    EXPECT_NEAR(dominantFrequency(window(sound.channel(0), 44100, 0.3, 1), 44100), 300, 2);
    expectWellCut(driver, 2);
}

// The extractor's samples with the plain keys of its format, as a device's client passes them on;
// `late`: codec data as inputs.
void expectTone(const char* encoder, const char* extension, const char* mime, bool late) {
    const std::string path = toneFile(encoder, extension, 2, 48000);
    const sp<NuMediaExtractor> extractor = openClip(path);
    const sp<AMessage> all = formatOf(extractor);
    ASSERT_EQ(extractor->selectTrack(0), OK);
    const sp<AMessage> format = formatOfPcm(2, 48000);
    sp<ABuffer> data;
    std::vector<sp<ABuffer>> inputs;
    for (const char* key : {"csd-0", "csd-1", "csd-2"}) {
        if (!all->findBuffer(key, &data)) continue;
        inputs.push_back(data);
        if (!late) format->setBuffer(key, data);
    }
    ASSERT_FALSE(inputs.empty());
    AudioComponentDriver driver(createAvAudioDecoder(mime));
    ASSERT_EQ(driver.start(format), OK);
    for (const sp<ABuffer>& part : inputs) {
        constexpr uint32_t kConfig = MediaCodec::BUFFER_FLAG_CODECCONFIG;
        ASSERT_TRUE(!late || driver.queue(part->data(), part->size(), 0, kConfig));
    }
    const sp<ABuffer> sample = new ABuffer(1 << 16);
    int64_t timeUs = 0;
    for (; extractor->readSampleData(sample) == OK; extractor->advance()) {
        ASSERT_EQ(extractor->getSampleTime(&timeUs), OK);
        ASSERT_TRUE(driver.queue(sample->data(), sample->size(), timeUs));
    }
    ASSERT_TRUE(driver.queueEnd() && driver.waitForEnd());
    const Sound sound = soundFromPcm(driver.pcm(), 2, 48000);
    EXPECT_NEAR(sound.seconds(), kToneSeconds, 0.03);
    EXPECT_NEAR(dominantFrequency(window(sound.channel(1), 48000, 0.3, 1), 48000), 430, 2);
}

TEST(AudioDecoderTest, decodesFromPlainKeysAndInputs) {
    for (const bool late : {false, true}) {
        SCOPED_TRACE(late);
        expectTone("libvorbis", "webm", "audio/vorbis", late);
        expectTone("libopus", "ogg", "audio/opus", late);
        expectTone("flac", "flac", "audio/flac", late);
    }
}

// What is behind the damage must be what it is without damage, at the same time; the client gets no
// error, and the listener hears of it a few times, not for every packet.
TEST(AudioDecoderTest, damageIsSkippedAndCounted) {
    const std::string path = mediaPath("flower_540p_h264_aac.mp4");
    const Sound reference = decodeSound(path);
    std::mt19937 random(3);
    // Packets that are cut are shortened instead of overwritten.
    for (const auto& [from, to, cut] :
         {std::tuple(size_t{60}, size_t{100}, false), {0, 15, true}, {0, SIZE_MAX, false}}) {
        SCOPED_TRACE(to);
        AudioPackets source(path);
        const size_t end = std::min(to, source.packets.size());
        for (size_t i = from; i < end; ++i) {
            AVPacket* packet = source.packets[i].get();
            ASSERT_GE(av_packet_make_writable(packet), 0);
            if (cut) {
                av_shrink_packet(packet, packet->size / 3);
            } else {
                std::generate_n(packet->data, packet->size, std::ref(random));
            }
        }
        FaultLog log;
        AudioComponentDriver driver(newDecoder());
        ASSERT_TRUE(source.decode(&driver));
        EXPECT_TRUE(driver.inOrder());
        EXPECT_EQ(driver.formats().size(), 1u);

        const auto faults = log.faults();
        ASSERT_FALSE(faults.empty());
        EXPECT_LE(faults.size(), 4u);
        EXPECT_EQ(faults.front().count, 1u);
        for (const auto& fault : faults) {
            EXPECT_EQ(fault.source, oxa::host::FaultSource::kDecoder);
            EXPECT_FALSE(fault.ended);
        }

        if (end == source.packets.size()) continue;
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
}

// A client sets its sound up when it hears the format: it must hear one even if nothing decodes.
TEST(AudioDecoderTest, endWithNothingDecodedHasAFormat) {
    const AudioPackets source(mediaPath("roar.mp3"));
    AudioComponentDriver driver(newDecoder());
    ASSERT_EQ(driver.start(source.format()), OK);
    ASSERT_TRUE(driver.queue(nullptr, 0, 0));
    ASSERT_TRUE(driver.queueEnd() && driver.waitForEnd());
    EXPECT_TRUE(driver.inOrder());
    EXPECT_TRUE(driver.outputs().empty());
    ASSERT_EQ(driver.formats().size(), 1u);
    EXPECT_EQ(driver.formatInt32("channel-count"), 2);
    EXPECT_EQ(driver.formatInt32("sample-rate"), 44100);
}

// Stop comes while the worker decodes, waits for input, or waits for a client that keeps all
// outputs; afterwards the same component decodes the whole file, whose end comes with its last
// packet.
TEST(AudioDecoderTest, stopsAtAnyMomentAndStartsAgain) {
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
    ASSERT_EQ(driver.start(source.format()), OK);
    ASSERT_TRUE(source.feed(&driver, 0, SIZE_MAX, MediaCodec::BUFFER_FLAG_EOS));
    ASSERT_TRUE(driver.waitForEnd());
    expectSamples(driver.pcm(), decodeSound(mediaPath("roar.mp3")));
}

TEST(AudioDecoderTest, refusesWhatItCannotDecode) {
    EXPECT_EQ(createAvAudioDecoder("video/avc"), nullptr);
    const sp<CodecComponent> unknown = createAvAudioDecoder("audio/unheard-of");
    EXPECT_EQ(unknown->configure(formatOfPcm(2, 48000), nullptr), BAD_VALUE);

    const sp<CodecComponent> aac = createAvAudioDecoder("audio/mp4a-latm");
    EXPECT_EQ(aac->configure(new AMessage, nullptr), BAD_VALUE);
    AudioComponentDriver driver(aac);
    EXPECT_EQ(aac->start(&driver), INVALID_OPERATION);
}

TEST(AudioDecoderTest, aacInputsAreAsLargeAsAskedFor) {
    constexpr size_t kLeast = 256 * 1024;
    for (const auto& [asked, expected] :
         {std::pair(0, kLeast), {1000, kLeast}, {300000, 300000}, {9000000, 9000000}}) {
        const sp<AMessage> format = formatOfPcm(2, 48000);
        format->setInt32("max-input-size", asked);
        const sp<CodecComponent> decoder = createAvAudioDecoder("audio/mp4a-latm");
        EXPECT_EQ(decoder->configure(format, nullptr), OK);
        EXPECT_EQ(decoder->inputCapacity(), expected);
    }
}

}  // namespace
}  // namespace android
