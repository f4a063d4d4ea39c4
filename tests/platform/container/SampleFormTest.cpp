// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "ffmpeg/SampleForm.h"

#include <media/stagefright/MediaErrors.h>
#include <media/stagefright/MetaData.h>
#include <media/stagefright/foundation/ABuffer.h>

#include "ffmpeg/TrackParameters.h"
#include "platform/container/TrackSamples.h"
#include "support/MediaReader.h"
#include "support/Test.h"

extern "C" {
#include <libavutil/mem.h>
}

namespace android {
namespace {

using namespace oxa::test;
using testing::EndsWith;
using testing::StartsWith;

using Bytes = std::vector<uint8_t>;

struct Parameters {
    Parameters(AVCodecID codec, const Bytes& extradata) : plain(avcodec_parameters_alloc()) {
        plain->codec_id = codec;
        plain->extradata =
                static_cast<uint8_t*>(av_mallocz(extradata.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        plain->extradata_size = static_cast<int>(extradata.size());
        std::copy(extradata.begin(), extradata.end(), plain->extradata);
    }
    ~Parameters() { avcodec_parameters_free(&plain); }

    AVCodecParameters* plain;
};

Bytes avcConfiguration(int lengthSize) {
    return {1,    100, 0, 30,   static_cast<uint8_t>(0xFC | (lengthSize - 1)),
            0xE1, 0,   4, 0x67, 100,
            0,    30,  1, 0,    2,
            0x68, 0xEE};
}

Bytes formed(const Bytes& configuration, const Bytes& sample) {
    const Parameters parameters(AV_CODEC_ID_H264, configuration);
    const SampleForm form(*parameters.plain);
    const PacketPtr packet(av_packet_alloc());
    av_new_packet(packet.get(), static_cast<int>(sample.size()));
    std::copy(sample.begin(), sample.end(), packet->data);
    Bytes bytes(form.size(*packet));
    form.write(*packet, bytes.data());
    return bytes;
}

TEST(SampleFormTest, putsStartCodesInFrontOfUnits) {
    const struct {
        const char* name;
        int lengthSize;
        Bytes sample, expected;
    } kSamples[] = {
            {"4 bytes", 4, {0, 0, 0, 2, 9, 16, 0, 0, 0, 1, 5}, {0, 0, 0, 1, 9, 16, 0, 0, 0, 1, 5}},
            {"3 bytes", 3, {0, 0, 2, 9, 16, 0, 0, 1, 5}, {0, 0, 1, 9, 16, 0, 0, 1, 5}},
            {"2 bytes", 2, {0, 2, 9, 16, 0, 1, 5}, {0, 0, 0, 1, 9, 16, 0, 0, 0, 1, 5}},
            {"1 byte", 1, {2, 9, 16, 1, 5}, {0, 0, 0, 1, 9, 16, 0, 0, 0, 1, 5}},
            {"codes already", 4, {0, 0, 0, 1, 9, 16, 0, 0, 1, 5}, {0, 0, 0, 1, 9, 16, 0, 0, 1, 5}},
            {"short codes already", 4, {0, 0, 1, 9, 16, 5}, {0, 0, 1, 9, 16, 5}},
            {"a unit of one byte", 4, {0, 0, 0, 1, 9}, {0, 0, 0, 1, 9}},
            {"a length beyond the end", 4, {0, 0, 0, 9, 9, 16}, {0, 0, 0, 1, 9, 16}},
            {"a length cut off", 2, {0, 1, 9, 0}, {0, 0, 0, 1, 9}},
    };
    for (const auto& c : kSamples)
        EXPECT_EQ(formed(avcConfiguration(c.lengthSize), c.sample), c.expected) << c.name;
    EXPECT_EQ(formed({0, 0, 0, 1, 0x67, 100, 0, 30}, {0, 0, 0, 2, 9, 16}),
              Bytes({0, 0, 0, 2, 9, 16}))
            << "a stream without lengths";
}

TEST(SampleFormTest, followsCodecDataThatChanges) {
    const Parameters parameters(AV_CODEC_ID_H264, avcConfiguration(4));
    SampleForm form(*parameters.plain);
    const PacketPtr packet(av_packet_alloc());
    const Bytes configuration = avcConfiguration(2);
    av_new_packet(packet.get(), 3);
    std::copy_n(Bytes{0, 1, 9}.begin(), 3, packet->data);
    std::copy(
            configuration.begin(), configuration.end(),
            av_packet_new_side_data(packet.get(), AV_PKT_DATA_NEW_EXTRADATA, configuration.size()));
    form.follow(packet.get());
    size_t size = 0;
    const uint8_t* data = av_packet_get_side_data(packet.get(), AV_PKT_DATA_NEW_EXTRADATA, &size);
    EXPECT_EQ(Bytes(data, data + size),
              Bytes({0, 0, 0, 1, 0x67, 100, 0, 30, 0, 0, 0, 1, 0x68, 0xEE}));
    EXPECT_EQ(form.size(*packet), 5u);
}

std::string textOf(const sp<AMessage>& format, const char* key) {
    sp<ABuffer> data;
    if (!format->findBuffer(key, &data)) return "";
    return std::string(reinterpret_cast<const char*>(data->data()), data->size());
}

// Codec data and samples of a clip as a device's extractor gives them; nothing else would feed a
// device's decoder.
TEST(SampleFormTest, givesWhatADeviceGives) {
    const std::string code("\0\0\0\1", 4);
    const auto soundClip = [](const char* codec) {
        ClipOptions options;
        options.extension = "mka";
        options.audioCodec = codec;
        return sineClip({440}, 0.5, options);
    };
    const struct {
        std::string clip;
        std::string first;   // what "csd-0" begins with
        std::string second;  // and "csd-1"
        std::string sample;  // and each sample
        std::string end;
        std::string third = {};  // what "csd-2" is
    } kClips[] = {
            {mediaPath("flower_540p_h264_aac.mp4"), code + "\x67", code + "\x68", code, ""},
            {mediaPath("bunny_360p_aac51.ts"), code + "\x67", code + "\x68", std::string("\0\0", 2),
             ""},
            {mediaPath("bunny_480p_hevc.mp4"), code + "\x40", "", code, ""},
            {soundClip("libvorbis"), "\x01vorbis", "\x05vorbis", "", "\xFF\xFF\xFF\xFF"},
            // 312 samples, and 80 ms.
            {soundClip("libopus"), "OpusHead", std::string("\xA0\x2E\x63\0\0\0\0\0", 8), "", "",
             std::string("\0\xB4\xC4\4\0\0\0\0", 8)},
    };
    for (const auto& clip : kClips) {
        SCOPED_TRACE(clip.clip);
        const sp<NuMediaExtractor> extractor = openClip(clip.clip);
        ASSERT_EQ(extractor->selectTrack(0), OK);
        const sp<AMessage> format = formatOf(extractor);
        EXPECT_THAT(textOf(format, "csd-0"), StartsWith(clip.first));
        EXPECT_THAT(textOf(format, "csd-1"), StartsWith(clip.second));
        EXPECT_EQ(textOf(format, "csd-2"), clip.third);
        const sp<ABuffer> buffer = new ABuffer(kBufferSize);
        for (int i = 0; i < 20; ++i) {
            ASSERT_EQ(extractor->readSampleData(buffer), OK);
            const std::string sample(reinterpret_cast<const char*>(buffer->data()), buffer->size());
            ASSERT_THAT(sample, StartsWith(clip.sample));
            ASSERT_THAT(sample, EndsWith(clip.end));
            extractor->advance();
        }
    }
}

}  // namespace
}  // namespace android
