// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gui/Surface.h>
#include <mediadrm/ICrypto.h>
#include <oxa/host/CodecConfig.h>

#include <optional>

#include "graphics/LocalBufferProducer.h"
#include "platform/container/TrackSamples.h"
#include "support/CodecClient.h"
#include "support/Test.h"
#include "support/TestPictures.h"

// What Android 11's codecs answer, call for call.

namespace oxa::test {
namespace {

using namespace android;

struct Direction {
    const char* mime;
    bool encoder;
};

constexpr Direction kVideoEncoder = {"video/avc", true};
constexpr Direction kVideoDecoder = {"video/avc", false};
constexpr Direction kSoundEncoder = {"audio/mp4a-latm", true};
constexpr Direction kSoundDecoder = {"audio/raw", false};

// All that the codecs need, but for one item.
sp<AMessage> formatFor(const Direction& codec, const std::string& without = "") {
    constexpr std::pair<const char*, int32_t> kItems[] = {
            {"width", 64},        {"height", 48},          {"frame-rate", 25},
            {"bitrate", 100000},  {"i-frame-interval", 1}, {"color-format", 19},
            {"channel-count", 2}, {"sample-rate", 48000},
    };
    const sp<AMessage> format = new AMessage;
    if (without != "mime") format->setString("mime", codec.mime);
    for (const auto& [name, value] : kItems) {
        if (without != name) format->setInt32(name, value);
    }
    return format;
}

// A codec and the calls that tests make again and again.
class Codec : public CodecClient {
  public:
    explicit Codec(const Direction& direction)
        : CodecClient(direction.mime, direction.encoder), mDirection(direction) {
        (*this)->setCallback(nullptr);
        CodecClient::setCallback();
    }

    status_t configure(const sp<AMessage>& format) {
        return (*this)->configure(format, NULL, NULL,
                                  mDirection.encoder ? MediaCodec::CONFIGURE_FLAG_ENCODE : 0);
    }
    status_t configure() { return configure(formatFor(mDirection)); }

    void run() {
        ASSERT_EQ(configure(), OK);
        ASSERT_EQ((*this)->start(), OK);
    }

    // The n-th input that was offered, from 0.
    size_t input(size_t n) {
        EXPECT_TRUE(waitForCount(MediaCodec::CB_INPUT_AVAILABLE, n + 1));
        return ofKind(events(), MediaCodec::CB_INPUT_AVAILABLE).at(n).index;
    }
    CodecEvent output(size_t n) {
        EXPECT_TRUE(waitForCount(MediaCodec::CB_OUTPUT_AVAILABLE, n + 1));
        return ofKind(events(), MediaCodec::CB_OUTPUT_AVAILABLE).at(n);
    }

    // These bytes in the n-th input.
    void queue(size_t n, int64_t timeUs, const sp<ABuffer>& data, uint32_t flags = 0) {
        sp<MediaCodecBuffer> buffer;
        ASSERT_EQ((*this)->getInputBuffer(input(n), &buffer), OK);
        memcpy(buffer->base(), data->data(), data->size());
        ASSERT_EQ((*this)->queueInputBuffer(input(n), 0, data->size(), timeUs, flags), OK);
    }
    // A picture of zeros, or silence.
    void queue(size_t n, int64_t timeUs) {
        sp<MediaCodecBuffer> buffer;
        ASSERT_EQ((*this)->getInputBuffer(input(n), &buffer), OK);
        const std::string zeros(buffer->capacity(), '\0');
        queue(n, timeUs, ABuffer::CreateAsCopy(zeros.data(), zeros.size()));
    }
    void queueEnd(size_t n, int64_t timeUs) {
        ASSERT_EQ((*this)->queueInputBuffer(input(n), 0, 0, timeUs, MediaCodec::BUFFER_FLAG_EOS),
                  OK);
    }

  private:
    const Direction mDirection;
};

// The item of a format that has a value or is left out, the answer, and whether the callback stays.
using Configuration =
        std::tuple<const char*, Direction, const char*, std::optional<int32_t>, status_t, bool>;
const Configuration kConfigurations[] = {
        {"negative width", kVideoDecoder, "width", -1, BAD_VALUE, true},
        {"absurd height", kVideoEncoder, "height", 1 << 30, BAD_VALUE, true},
        {"decoder without type", kVideoDecoder, "mime", {}, BAD_VALUE, false},
        {"sound decoder without type", kSoundDecoder, "mime", {}, BAD_VALUE, false},
        {"decoder without width", kVideoDecoder, "width", {}, BAD_VALUE, false},
        {"decoder without height", kVideoDecoder, "height", {}, BAD_VALUE, false},
        {"encoder without width", kVideoEncoder, "width", {}, BAD_VALUE, false},
        {"encoder without bit rate", kVideoEncoder, "bitrate", {}, BAD_VALUE, false},
        {"encoder without rate", kVideoEncoder, "frame-rate", {}, BAD_VALUE, false},
        {"encoder without interval", kVideoEncoder, "i-frame-interval", {}, BAD_VALUE, false},
        {"sound encoder without bit rate", kSoundEncoder, "bitrate", {}, BAD_VALUE, false},
        {"sound has no size", kSoundEncoder, "width", -1, OK, true},
        {"sound decoder without bit rate", kSoundDecoder, "bitrate", {}, OK, true},
        {"nothing is wrong", kVideoEncoder, "", {}, OK, true},
};

TEST(CodecAnswers, toFormatsThatAreNotWhole) {
    for (const auto& [what, direction, key, value, expected, keepsCallback] : kConfigurations) {
        SCOPED_TRACE(what);
        Codec codec(direction);
        const sp<AMessage> format = formatFor(direction, key);
        if (value) format->setInt32(key, *value);
        EXPECT_EQ(codec.configure(format), expected);
        if (expected != OK) {
            ASSERT_EQ(codec.configure(), OK);
        }
        ASSERT_EQ(codec->start(), OK);
        if (keepsCallback) {
            EXPECT_TRUE(codec.waitForCount(MediaCodec::CB_INPUT_AVAILABLE, 1));
        } else {
            codec.settle();
            EXPECT_TRUE(codec.events().empty());
        }
    }
}

// What a decoder's start could have found out comes by its callback.
TEST(CodecAnswers, codecDataThatCannotBeReadIsAnErrorBehindTheStart) {
    for (const char* mime : {"audio/mp4a-latm", "audio/vorbis", "audio/opus", "video/x-ffv1"}) {
        SCOPED_TRACE(mime);
        Codec codec({mime, false});
        const sp<AMessage> format = formatFor({mime, false});
        format->setBuffer("csd-0", ABuffer::CreateAsCopy(std::string(40, '\xFF').data(), 40));
        ASSERT_EQ(codec.configure(format), OK);
        ASSERT_EQ(codec->start(), OK);
        EXPECT_TRUE(codec.waitForCount(MediaCodec::CB_ERROR, 1));
        codec.settle();
        EXPECT_EQ(CodecClient::countOf(codec.events(), MediaCodec::CB_ERROR), 1u);
        EXPECT_EQ(codec->stop(), INVALID_OPERATION);
    }
}

// A format without them is completed by inputs of their own.
TEST(CodecAnswers, parameterSetsMayComeAsInputs) {
    constexpr int kSamples = 10;
    const sp<NuMediaExtractor> clip = openClip(mediaPath("flower_540p_h264_aac.mp4"));
    const sp<AMessage> format = android::formatOf(clip);
    ASSERT_EQ(clip->selectTrack(0), OK);
    Codec codec(kVideoDecoder);
    codec.setHandler([&](const CodecEvent& event) {
        if (event.id == MediaCodec::CB_OUTPUT_AVAILABLE) codec->releaseOutputBuffer(event.index);
    });
    codec.run();
    size_t input = 0;
    sp<ABuffer> data;
    for (const char* key : {"csd-0", "csd-1"}) {
        ASSERT_TRUE(format->findBuffer(key, &data));
        codec.queue(input++, 0, data, MediaCodec::BUFFER_FLAG_CODECCONFIG);
    }
    data = new ABuffer(1 << 20);
    for (int64_t i = 0; i < kSamples; ++i, clip->advance()) {
        ASSERT_EQ(clip->readSampleData(data), OK);
        codec.queue(input++, i * 40000, data);
    }
    codec.queueEnd(input, 0);
    EXPECT_TRUE(codec.waitForCount(MediaCodec::CB_OUTPUT_AVAILABLE, kSamples + 1));
}

TEST(CodecAnswers, formatsAreFilledBeforeTheStart) {
    for (const auto& [direction, inputMime, outputMime, keyOfBoth, expected] :
         {std::tuple(kVideoEncoder, "video/raw", "video/avc", "width", 64),
          {kVideoDecoder, "video/avc", "video/raw", "height", 48},
          {kSoundEncoder, "audio/raw", "audio/mp4a-latm", "channel-count", 2},
          {kSoundDecoder, "audio/raw", "audio/raw", "sample-rate", 48000}}) {
        SCOPED_TRACE(direction.mime);
        Codec codec(direction);
        const sp<AMessage> clients = formatFor(direction);
        ASSERT_EQ(codec.configure(clients), OK);
        sp<AMessage> input;
        sp<AMessage> output;
        ASSERT_EQ(codec->getInputFormat(&input), OK);
        ASSERT_EQ(codec->getOutputFormat(&output), OK);
        EXPECT_NE(clients, input);
        int32_t largest = 0;
        EXPECT_TRUE(input->findInt32("max-input-size", &largest));
        EXPECT_GT(largest, 0);
        for (const auto& [format, mime] : {std::pair(input, inputMime), {output, outputMime}}) {
            AString told;
            int32_t value = -1;
            EXPECT_TRUE(format->findString("mime", &told));
            EXPECT_STREQ(mime, told.c_str());
            EXPECT_TRUE(format->findInt32(keyOfBoth, &value));
            EXPECT_EQ(value, expected);
        }
    }
}

TEST(CodecAnswers, parametersAreTakenAtAnyTime) {
    Codec codec(kVideoEncoder);
    const auto expectTaken = [&] {
        const sp<AMessage> rate = new AMessage;
        for (const int32_t value : {0, -1}) {
            rate->setInt32("video-bitrate", value);
            EXPECT_EQ(codec->setParameters(rate), OK);
        }
    };
    expectTaken();
    EXPECT_EQ(codec->requestIDRFrame(), OK);
    codec.run();
    expectTaken();
    codec.queue(0, 0);
    codec.queueEnd(1, 0);
    EXPECT_GT(codec.output(0).size, 0u);
    EXPECT_EQ(codec->release(), OK);
    EXPECT_EQ(codec->requestIDRFrame(), OK);
}

// The end of a stream without content comes out with the time that it went in with.
TEST(CodecAnswers, anEmptyStreamEndsAtItsEndsTime) {
    for (const Direction& direction :
         {kVideoEncoder, kVideoDecoder, kSoundEncoder, kSoundDecoder}) {
        SCOPED_TRACE(direction.mime);
        EXPECT_EQ(Codec(direction)->configure(
                          formatFor(direction), NULL, NULL,
                          direction.encoder ? 0 : MediaCodec::CONFIGURE_FLAG_ENCODE),
                  UNKNOWN_ERROR)
                << "the other direction's flag";
        Codec codec(direction);
        codec.run();
        codec.queueEnd(0, 1234567);
        const CodecEvent end = codec.output(0);
        EXPECT_EQ(end.size, 0u);
        EXPECT_EQ(end.timeUs, 1234567);
        EXPECT_EQ(end.flags, static_cast<uint32_t>(MediaCodec::BUFFER_FLAG_EOS));
    }
}

TEST(CodecAnswers, buffersTellTheirTimeAndComeBackWhole) {
    Codec codec(kVideoEncoder);
    codec.run();
    sp<MediaCodecBuffer> buffer;
    const size_t first = codec.input(0);
    ASSERT_EQ(codec->getInputBuffer(first, &buffer), OK);
    const size_t capacity = buffer->capacity();
    ASSERT_EQ(codec->queueInputBuffer(first, 10, 20, 0, 0), OK);  // too little: left out
    size_t again = 0;
    ASSERT_TRUE(codec.waitFor([&](const CodecClient::Events& events) {
        const auto inputs = CodecClient::ofKind(events, MediaCodec::CB_INPUT_AVAILABLE);
        again = inputs.size();
        return again > 1 && inputs.back().index == first;
    }));
    ASSERT_EQ(codec->getInputBuffer(first, &buffer), OK);
    EXPECT_EQ(buffer->offset(), 0u);
    EXPECT_EQ(capacity, buffer->size());

    codec.queue(again - 1, 40000);
    codec.queueEnd(1, 0);
    ASSERT_EQ(codec->getOutputBuffer(codec.output(0).index, &buffer), OK);
    int64_t timeUs = 0;
    int32_t flags = 0;
    EXPECT_TRUE(buffer->meta()->findInt64("timeUs", &timeUs));
    EXPECT_TRUE(buffer->meta()->findInt32("flags", &flags));
    EXPECT_EQ(timeUs, 40000);
    EXPECT_EQ(flags, MediaCodec::BUFFER_FLAG_SYNCFRAME);
}

TEST(CodecAnswers, codecConfigComesFirstWhereItIsAskedFor) {
    host::setCodecConfigOutput(true);
    for (const Direction& direction : {kVideoEncoder, kSoundEncoder}) {
        SCOPED_TRACE(direction.mime);
        Codec codec(direction);
        codec.run();
        for (const size_t n : {0, 1, 2})
            codec.queue(n, static_cast<int64_t>(n) * 40000);
        codec.queueEnd(3, 0);
        const CodecEvent config = codec.output(0);
        EXPECT_EQ(codec.events()[0].id, MediaCodec::CB_OUTPUT_FORMAT_CHANGED);
        EXPECT_EQ(config.flags, static_cast<uint32_t>(MediaCodec::BUFFER_FLAG_CODECCONFIG));
        EXPECT_EQ(config.timeUs, 0);
        sp<MediaCodecBuffer> buffer;
        ASSERT_EQ(codec->getOutputBuffer(config.index, &buffer), OK);
        sp<ABuffer> csd;
        ASSERT_TRUE(codec.events()[0].format->findBuffer("csd-0", &csd));
        ASSERT_GE(buffer->size(), csd->size());
        EXPECT_EQ(memcmp(buffer->data(), csd->data(), csd->size()), 0);
        EXPECT_EQ(codec->releaseOutputBuffer(config.index), OK);
        EXPECT_EQ(codec.output(1).flags & MediaCodec::BUFFER_FLAG_CODECCONFIG, 0u);
        EXPECT_GT(codec.output(1).size, 0u);
    }
    host::setCodecConfigOutput(false);
}

// It goes on with a key frame; what it had is gone.
TEST(CodecAnswers, aFlushedEncoderGoesOn) {
    Codec codec(kVideoEncoder);
    codec.run();
    codec.queue(0, 0);
    ASSERT_EQ(codec->flush(), OK);
    EXPECT_EQ(codec->flush(), OK);
    ASSERT_EQ(codec->start(), OK);
    codec.settle();  // all of this run's inputs have been offered
    const auto inputs = CodecClient::ofKind(codec.events(), MediaCodec::CB_INPUT_AVAILABLE);
    const size_t outputs = CodecClient::countOf(codec.events(), MediaCodec::CB_OUTPUT_AVAILABLE);
    codec.queue(inputs.size() - 1, 500000);
    ASSERT_EQ(codec->queueInputBuffer(inputs[inputs.size() - 2].index, 0, 0, 0,
                                      MediaCodec::BUFFER_FLAG_EOS),
              OK);
    const CodecEvent unit = codec.output(outputs);
    EXPECT_EQ(unit.timeUs, 500000);
    EXPECT_EQ(unit.flags, static_cast<uint32_t>(MediaCodec::BUFFER_FLAG_SYNCFRAME));
}

// Also through its surface, whose producer stays.
TEST(CodecAnswers, aFlushedEncodersSurfaceStays) {
    Codec codec(kVideoEncoder);
    sp<IGraphicBufferProducer> surface;
    ASSERT_EQ(codec.configure(), OK);
    ASSERT_EQ(codec->createInputSurface(&surface), OK);
    CardProducer producer(LocalBufferProducer::queueOf(surface));
    producer.connect();
    ASSERT_EQ(codec->start(), OK);
    ASSERT_TRUE(producer.queue(makeCard({64, 48}), 1000000));
    ASSERT_EQ(codec->flush(), OK);
    // None of it is held: all places are free.
    ASSERT_TRUE(producer.queue(makeCard({64, 48}), 2000000));
    ASSERT_EQ(codec->start(), OK);
    ASSERT_TRUE(producer.queue(makeCard({64, 48}), 3000000));
    EXPECT_EQ(codec->signalEndOfInputStream(), OK);
    LocalBufferProducer::queueOf(surface)->producerDrained();
    ASSERT_TRUE(codec.waitForEnd());
    EXPECT_EQ(codec.events()[codec.events().size() - 2].timeUs, 3000);
    EXPECT_EQ(codec.events()[codec.events().size() - 3].timeUs, 2000);
}

}  // namespace
}  // namespace oxa::test
