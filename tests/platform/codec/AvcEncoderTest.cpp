// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gui/Surface.h>
#include <media/hardware/HardwareAPI.h>
#include <mediadrm/ICrypto.h>
#include <oxa/host/EncoderRate.h>
#include <oxa/host/EncoderSpeed.h>

#include "graphics/LocalBufferProducer.h"
#include "graphics/PictureBuffer.h"
#include "support/CodecClient.h"
#include "support/FaultLog.h"
#include "support/MediaReader.h"
#include "support/Test.h"
#include "support/TestPictures.h"

namespace oxa::test {
namespace {

using namespace android;

constexpr int32_t kWidth = 160;
constexpr int32_t kHeight = 96;
constexpr int32_t kFrameRate = 25;
constexpr int64_t kPictureUs = 1000000 / kFrameRate;
constexpr int32_t kPlanar = 19;
constexpr int32_t kSemiPlanar = 21;

using Items = std::vector<std::pair<const char*, int32_t>>;
const Items kUsual = {{"width", kWidth},   {"height", kHeight},     {"frame-rate", kFrameRate},
                      {"bitrate", 500000}, {"i-frame-interval", 1}, {"color-format", kPlanar}};

// The usual format but for some items.
sp<AMessage> encoderFormat(const Items& others = {}, const Items& usual = kUsual) {
    const sp<AMessage> format = new AMessage;
    format->setString("mime", "video/avc");
    for (const Items& items : {usual, others}) {
        for (const auto& [key, value] : items)
            format->setInt32(key, value);
    }
    return format;
}

// One sample of picture `number`: a ramp that moves, with noise that costs bits.
uint8_t sampleOf(int number, size_t position) {
    uint32_t noise = static_cast<uint32_t>(position) * 2654435761U + number * 40503U;
    noise ^= noise >> 15;
    return static_cast<uint8_t>(64 + (position + number * 3) % 96 + noise % 32);
}

status_t configure(CodecClient& encoder, const sp<AMessage>& format) {
    const status_t err = encoder.setCallback();
    if (err != OK) return err;
    return encoder->configure(format, NULL, NULL, MediaCodec::CONFIGURE_FLAG_ENCODE);
}

// Encodes pictures that are queued as bytes. Tests may act when picture n is about to be queued.
class ByteJob {
  public:
    using Hook = std::function<void(CodecClient& encoder, int number)>;

    ByteJob(const sp<AMessage>& format, std::vector<int64_t> timesUs, Hook hook = nullptr)
        : mTimesUs(std::move(timesUs)), mHook(std::move(hook)) {
        int32_t colorFormat = kPlanar;
        format->findInt32("color-format", &colorFormat);
        mSemiPlanar = colorFormat == kSemiPlanar;
        mEncoder.setHandler([this](const CodecEvent& event) { onEvent(event); });
        mResult = configure(mEncoder, format);
        if (mResult == OK) mResult = mEncoder->start();
    }

    bool run() {
        if (mResult != OK) return false;
        const bool ended = mEncoder.waitForEnd();
        mEncoder.stopCallbacks();
        return ended;
    }

    status_t result() const { return mResult; }
    const CodecClient::Events& units() const { return mUnits; }
    CodecClient& encoder() { return mEncoder; }

  private:
    void onEvent(const CodecEvent& event) {
        sp<MediaCodecBuffer> buffer;
        if (event.id == MediaCodec::CB_INPUT_AVAILABLE) {
            if (mEncoder->getInputBuffer(event.index, &buffer) != OK) return;
            const int number = mNext++;
            if (number >= static_cast<int>(mTimesUs.size())) {
                mEncoder->queueInputBuffer(event.index, 0, 0, 0, MediaCodec::BUFFER_FLAG_EOS);
                return;
            }
            if (mHook) mHook(mEncoder, number);
            fill(number, buffer->base(), buffer->capacity());
            mEncoder->queueInputBuffer(event.index, 0, buffer->capacity(), mTimesUs[number], 0);
        } else if (event.id == MediaCodec::CB_OUTPUT_AVAILABLE && event.size > 0) {
            mUnits.push_back(event);
            mEncoder->releaseOutputBuffer(event.index);
        }
    }

    void fill(int number, uint8_t* bytes, size_t size) const {
        const size_t luma = size * 2 / 3;
        const size_t chroma = size / 6;
        for (size_t i = 0; i < luma; ++i)
            bytes[i] = sampleOf(number, i);
        for (size_t plane = 0; plane < 2; ++plane) {
            uint8_t* const first = bytes + luma + (mSemiPlanar ? plane : plane * chroma);
            const size_t step = mSemiPlanar ? 2 : 1;
            for (size_t i = 0; i < chroma; ++i)
                first[i * step] = sampleOf(number, luma + plane * chroma + i);
        }
    }

    const std::vector<int64_t> mTimesUs;
    const Hook mHook;
    bool mSemiPlanar = false;
    int mNext = 0;
    CodecClient::Events mUnits;
    status_t mResult = OK;
    CodecClient mEncoder{"video/avc", true};
};

std::vector<int64_t> steadyTimes(int count) {
    std::vector<int64_t> times;
    for (int i = 0; i < count; ++i)
        times.push_back(i * kPictureUs);
    return times;
}

std::vector<size_t> syncUnits(const CodecClient::Events& units) {
    std::vector<size_t> numbers;
    for (size_t i = 0; i < units.size(); ++i) {
        if (units[i].flags & MediaCodec::BUFFER_FLAG_SYNCFRAME) numbers.push_back(i);
    }
    return numbers;
}

TEST(AvcEncoder, profileAndLevelStandInTheHeader) {
    constexpr int kAnyLevel = 0;
    const std::tuple<int, int, int, int> kCases[] = {{0, 0, 100, kAnyLevel},
                                                     {1, 0, 66, kAnyLevel},
                                                     {2, 0x200, 77, 31},
                                                     {8, 0x1000, 100, 41},
                                                     {0x10000, 0x100, 66, 30},
                                                     {0x80000, 0x10000, 100, 52},
                                                     {0x7777, 0x7777, 100, kAnyLevel}};
    for (const auto& [profile, level, profileIdc, levelIdc] : kCases) {
        SCOPED_TRACE(profile);
        // Most clients ask for none.
        const Items asked = {{"profile", profile}, {"level", level}};
        ByteJob job(encoderFormat(profile == 0 ? Items() : asked), steadyTimes(1));
        ASSERT_TRUE(job.run());
        sp<ABuffer> sps;
        ASSERT_TRUE(job.encoder().events()[0].format->findBuffer("csd-0", &sps));
        EXPECT_EQ(sps->data()[5], profileIdc);
        EXPECT_THAT(levelIdc, testing::AnyOf(kAnyLevel, sps->data()[7]));
    }
}

TEST(AvcEncoder, refusesFormatsThatCannotBe) {
    const Items kWrong = {{"width", 1}, {"height", 0}, {"bitrate", -1}, {"stride", 100}};
    for (const auto& wrong : kWrong)
        EXPECT_EQ(ByteJob(encoderFormat({wrong}), {}).result(), BAD_VALUE) << wrong.first;
    EXPECT_EQ(ByteJob(encoderFormat({}, {}), {}).result(), BAD_VALUE);
}

// The same pictures, with their chroma in planes and interleaved.
TEST(AvcEncoder, encodesBytesOfBothLayoutsAlike) {
    std::vector<size_t> sizes[2];
    for (const int layout : {0, 1}) {
        const int32_t colorFormat = layout == 0 ? kPlanar : kSemiPlanar;
        ByteJob job(encoderFormat({{"color-format", colorFormat}}), steadyTimes(12));
        ASSERT_TRUE(job.run());
        for (const CodecEvent& unit : job.units()) {
            EXPECT_EQ(static_cast<int64_t>(sizes[layout].size()) * kPictureUs, unit.timeUs);
            sizes[layout].push_back(unit.size);
        }
    }
    EXPECT_EQ(sizes[0].size(), 12u);
    EXPECT_EQ(sizes[0], sizes[1]);
}

TEST(AvcEncoder, keyFramesComeAtTheInterval) {
    constexpr size_t kPictures = 30;
    const struct {
        float intervalSec;
        int32_t frameRate;  // 0: 30 is taken
        size_t distance;
    } kCases[] = {{1, 25, 25}, {0.4F, 25, 10},      {0.4F, 0, 12},
                  {0, 25, 1},  {-1, 25, kPictures}, {1e9F, 25, kPictures}};
    for (const auto& [intervalSec, frameRate, distance] : kCases) {
        SCOPED_TRACE(intervalSec);
        const sp<AMessage> format = encoderFormat({{"frame-rate", frameRate}});
        // The first one is there, as an integer.
        if (intervalSec != 1) format->setFloat("i-frame-interval", intervalSec);
        ByteJob job(format, steadyTimes(kPictures));
        ASSERT_TRUE(job.run());
        std::vector<size_t> expected;
        for (size_t number = 0; number < kPictures; number += distance)
            expected.push_back(number);
        EXPECT_EQ(syncUnits(job.units()), expected);
    }
}

TEST(AvcEncoder, changesItsBitRateAndMakesAKeyFrameOnRequest) {
    constexpr int kPictures = 150;
    constexpr int kKeyPicture = 15;
    const sp<AMessage> format = encoderFormat({{"bitrate", 400000}, {"i-frame-interval", -1}});
    ByteJob job(format, steadyTimes(kPictures), [](CodecClient& encoder, int number) {
        if (number == kKeyPicture) {
            EXPECT_EQ(encoder->requestIDRFrame(), OK);
        } else if (number == kPictures / 2) {
            const sp<AMessage> change = new AMessage;
            change->setInt32("video-bitrate", 100000);
            EXPECT_EQ(encoder->setParameters(change), OK);
        }
    });
    ASSERT_TRUE(job.run());
    ASSERT_EQ(job.units().size(), static_cast<size_t>(kPictures));
    const double seconds = kPictures / 2 / static_cast<double>(kFrameRate);
    size_t halves[2] = {};
    for (size_t i = 0; i < kPictures; ++i)
        halves[i / (kPictures / 2)] += job.units()[i].size;
    EXPECT_NEAR(halves[0] * 8 / seconds, 400000, 100000);
    EXPECT_LT(halves[1] * 2, halves[0]);

    const std::vector<size_t> sync = syncUnits(job.units());
    ASSERT_EQ(sync.size(), 3u) << "the new bit rate begins with one, too";
    // Pictures that were queued before may be encoded after the request.
    EXPECT_GE(sync[1], kKeyPicture - 4u);
    EXPECT_LE(sync[1], static_cast<size_t>(kKeyPicture));
}

TEST(AvcEncoder, makesTimesRiseAndDropsNothing) {
    FaultLog faults;
    ByteJob job(encoderFormat(), {0, 40000, 40000, 20000, -5, 80000, 80001});
    ASSERT_TRUE(job.run());
    std::vector<int64_t> times;
    for (const CodecEvent& unit : job.units())
        times.push_back(unit.timeUs);
    EXPECT_EQ(times, (std::vector<int64_t>{0, 40000, 40001, 40002, 40003, 80000, 80001}));
    EXPECT_TRUE(faults.faults().empty());
}

// An encoder of pictures that stay in memory: its inputs refer to them, as a camera's do.
status_t startForRecords(CodecClient& encoder, const sp<AMessage>& format) {
    format->setInt32("android._input-metadata-buffer-type", kMetadataBufferTypeANWBuffer);
    const status_t err = configure(encoder, format);
    return err == OK ? encoder->start() : err;
}

void queueRecord(CodecClient& encoder, size_t nth, ANativeWindowBuffer* picture, int64_t timeUs,
                 uint32_t flags = 0, uint32_t type = kMetadataBufferTypeANWBuffer,
                 size_t size = sizeof(VideoNativeMetadata)) {
    ASSERT_TRUE(encoder.waitForCount(MediaCodec::CB_INPUT_AVAILABLE, nth + 1));
    const size_t index =
            CodecClient::ofKind(encoder.events(), MediaCodec::CB_INPUT_AVAILABLE).at(nth).index;
    sp<MediaCodecBuffer> buffer;
    ASSERT_EQ(encoder->getInputBuffer(index, &buffer), OK);
    const VideoNativeMetadata record = {static_cast<MetadataBufferType>(type), picture, -1};
    memcpy(buffer->base(), &record, sizeof(record));
    ASSERT_EQ(encoder->queueInputBuffer(index, 0, size, timeUs, flags), OK);
}

TEST(AvcEncoder, makesPicturesOfFieldsAsItIsAsked) {
    constexpr size_t kCards = 5;
    for (const auto& [deinterlace, interlaced, perCard] :
         {std::tuple(0, true, 1), {1, true, 1}, {2, true, 2}, {1, false, 1}, {2, false, 1}}) {
        SCOPED_TRACE(deinterlace + 10 * interlaced);
        CardOptions card = {kWidth, kHeight};
        card.interlaced = interlaced;
        ANativeWindowBuffer picture{makeCard(card)};
        CodecClient encoder("video/avc", true);
        encoder.setHandler([&](const CodecEvent& event) {
            if (event.id == MediaCodec::CB_OUTPUT_AVAILABLE)
                encoder->releaseOutputBuffer(event.index);
        });
        ASSERT_EQ(startForRecords(encoder, encoderFormat({{"video-de-interlace", deinterlace}})),
                  OK);
        for (size_t i = 0; i < kCards; ++i)
            queueRecord(encoder, i, &picture, i * kPictureUs,
                        i + 1 == kCards ? MediaCodec::BUFFER_FLAG_EOS : 0);
        ASSERT_TRUE(encoder.waitForEnd());
        auto units = CodecClient::ofKind(encoder.events(), MediaCodec::CB_OUTPUT_AVAILABLE);
        while (units.back().size == 0)
            units.pop_back();
        ASSERT_EQ(units.size(), kCards * perCard);
        for (size_t i = 0; i < units.size(); ++i)
            EXPECT_EQ(units[i].timeUs, static_cast<int64_t>(i) * kPictureUs / perCard);
    }
}

// What is no record of a picture is left out with a fault; the process goes on.
TEST(AvcEncoder, leavesOutWhatIsNoRecord) {
    const FaultLog log;
    CodecClient encoder("video/avc", true);
    ASSERT_EQ(startForRecords(encoder, encoderFormat()), OK);
    queueRecord(encoder, 0, nullptr, 0, 0, kMetadataBufferTypeNativeHandleSource);
    queueRecord(encoder, 1, nullptr, 1000);
    queueRecord(encoder, 2, nullptr, 2000, MediaCodec::BUFFER_FLAG_EOS,
                kMetadataBufferTypeNativeHandleSource, 4);
    ASSERT_TRUE(encoder.waitForEnd());
    EXPECT_EQ(encoder.events().back().size, 0u);
    ASSERT_FALSE(log.faults().empty());
    EXPECT_EQ(log.faults().back().count, 3u);
    EXPECT_EQ(log.faults().back().cause, "pictures that could not be encoded");
}

// Each picture is out before the next one goes in. One that is not later is left out, as is one in
// memory that the encoder does not know.
TEST(AvcEncoder, keepsNothingOfALiveSourceBack) {
    constexpr int64_t kForeignUs = 60000;
    const std::pair<int64_t, bool> kQueued[] = {
            {0, true},      {40000, true},  {40000, false}, {20000, false}, {kForeignUs, false},
            {80000, true},  {80001, true},  {120000, true}, {240000, true}, {280000, true},
            {320000, true}, {360000, true}, {2400000, true}};
    for (const int32_t bitrate : {0, 500000}) {
        SCOPED_TRACE(bitrate);
        FaultLog faults;
        ANativeWindowBuffer picture{makeCard({kWidth, kHeight})};
        ANativeWindowBuffer foreign{new ForeignPicture};
        CodecClient encoder("video/avc", true);
        ASSERT_EQ(startForRecords(encoder, encoderFormat({{"bitrate", bitrate}})), OK);
        size_t queued = 0;
        size_t encoded = 0;
        for (const auto& [timeUs, isEncoded] : kQueued) {
            queueRecord(encoder, queued++, timeUs == kForeignUs ? &foreign : &picture, timeUs);
            if (!isEncoded) continue;
            ASSERT_TRUE(encoder.waitForCount(MediaCodec::CB_OUTPUT_AVAILABLE, ++encoded));
            const CodecEvent unit =
                    CodecClient::ofKind(encoder.events(), MediaCodec::CB_OUTPUT_AVAILABLE).back();
            EXPECT_EQ(timeUs, unit.timeUs);
            ASSERT_EQ(encoder->releaseOutputBuffer(unit.index), OK);
        }
        ASSERT_FALSE(faults.faults().empty());
        EXPECT_EQ(faults.faults()[0].object, "c2.linux.avc.encoder");
    }
}

// A camera that changes its mind, a decoder that does not convert: every picture is encoded as
// plain 4:2:0, and each is let go of when it was. A muxer that waits for all tracks must not depend
// on data: the format comes first, and the stream's header tells what the surface was told.
TEST(AvcEncoder, takesPicturesOfAnySizeAndFormat) {
    const CardOptions kPictures[] = {
            {kWidth, kHeight, AV_PIX_FMT_YUV420P},  {kWidth, kHeight, AV_PIX_FMT_NV12},
            {kWidth, kHeight, AV_PIX_FMT_YUVJ420P}, {640, 360, AV_PIX_FMT_YUV420P},
            {33, 17, AV_PIX_FMT_YUV444P},           {kWidth, kHeight, AV_PIX_FMT_YUYV422},
            {kWidth, kHeight, AV_PIX_FMT_RGB24},    {kWidth, kHeight, AV_PIX_FMT_YUV420P10LE},
            {kWidth, kHeight, AV_PIX_FMT_YUV420P},
    };
    FaultLog faults;
    CodecClient encoder("video/avc", true);
    std::string stream;
    encoder.setHandler([&](const CodecEvent& event) {
        sp<ABuffer> csd;
        sp<MediaCodecBuffer> unit;
        if (event.id == MediaCodec::CB_OUTPUT_FORMAT_CHANGED) {
            for (const char* name : {"csd-0", "csd-1"}) {
                if (event.format->findBuffer(name, &csd))
                    stream.append(csd->data(), csd->data() + csd->size());
            }
        } else if (encoder->getOutputBuffer(event.index, &unit) == OK) {
            stream.append(unit->data(), unit->data() + unit->size());
            encoder->releaseOutputBuffer(event.index);
        }
    });
    const sp<AMessage> format = encoderFormat({{"width", kWidth + 1}, {"height", kHeight + 1}});
    sp<IGraphicBufferProducer> surface;
    ASSERT_EQ(configure(encoder, format), OK);
    ASSERT_EQ(encoder->createInputSurface(&surface), OK);
    EXPECT_EQ(encoder->createInputSurface(&surface), INVALID_OPERATION);
    const sp<PictureQueue> queue = LocalBufferProducer::queueOf(surface);
    PictureFormat told = formatOf({kWidth, kHeight});
    told.primaries = AVCOL_PRI_SMPTE170M;
    told.transfer = AVCOL_TRC_BT709;
    told.chromaLocation = AVCHROMA_LOC_TOPLEFT;
    told.aspectNumerator = 32;
    told.aspectDenominator = 27;
    queue->setFormat(told);
    CardProducer producer(queue);
    producer.connect();
    ASSERT_EQ(encoder->start(), OK);
    ASSERT_TRUE(encoder.waitForCount(MediaCodec::CB_OUTPUT_FORMAT_CHANGED, 1));
    encoder.settle();
    EXPECT_EQ(encoder.events().size(), 1u) << "no inputs with a surface";

    std::vector<wp<Picture>> pictures;
    for (const auto& picture : kPictures) {
        const int64_t timeMs = 1 + static_cast<int64_t>(pictures.size());
        const sp<Picture> card = makeCard(picture);
        pictures.emplace_back(card);
        ASSERT_TRUE(producer.queue(card, timeMs * 1000000));
    }
    EXPECT_EQ(encoder->signalEndOfInputStream(), OK);
    EXPECT_EQ(encoder->signalEndOfInputStream(), INVALID_OPERATION);
    queue->producerDrained();
    ASSERT_TRUE(encoder.waitForEnd());
    const auto events = encoder.events();
    ASSERT_EQ(pictures.size() + 2, events.size()) << "format, units, end";
    for (size_t i = 0; i < pictures.size(); ++i) {
        EXPECT_EQ(static_cast<int64_t>(1 + i) * 1000, events[i + 1].timeUs);
        EXPECT_EQ(pictures[i].promote().get(), nullptr) << "picture " << i;
    }
    EXPECT_EQ(events.back().size, 0u);
    EXPECT_TRUE(faults.faults().empty());

    encoder.settle();
    const std::string path = TempDir::ofProcess().file("stream.h264");
    ASSERT_TRUE(writeFile(path, stream));
    const MediaReader reader(path);
    ASSERT_TRUE(reader.ok());
    const AVCodecParameters& header = *reader.format()->streams[0]->codecpar;
    EXPECT_EQ(header.width, kWidth);
    EXPECT_EQ(header.height, kHeight);
    EXPECT_EQ(header.format, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(header.color_range, told.range);
    EXPECT_EQ(header.color_primaries, told.primaries);
    EXPECT_EQ(header.color_trc, told.transfer);
    EXPECT_EQ(header.color_space, told.matrix);
    EXPECT_EQ(header.chroma_location, told.chromaLocation);
    EXPECT_EQ(header.sample_aspect_ratio.num, told.aspectNumerator);
    EXPECT_EQ(header.sample_aspect_ratio.den, told.aspectDenominator);
}

TEST(EncoderRate, takesTheQualitiesThatThereAre) {
    const int usual = host::encoderQuality();
    for (const int quality : {-1, 0, 51, 52})
        EXPECT_EQ(host::setEncoderQuality(quality), quality == 0 || quality == 51) << quality;
    EXPECT_EQ(host::encoderQuality(), 51);
    host::setEncoderQuality(usual);
}

// Only the order is the same on every machine, also in a process that has other things to do.
TEST(EncoderSpeed, isThatOfThePreset) {
    const int64_t fastUs = host::measureEncoder(640, 360, "ultrafast", 50'000);
    EXPECT_GT(fastUs, 10) << "no machine is so fast";
    std::atomic<bool> isOver{false};
    std::vector<std::thread> others(4);
    for (std::thread& other : others)
        other = std::thread([&] {
            while (!isOver) {
            }
        });
    EXPECT_LT(host::measureEncoder(640, 360, "ultrafast", 50'000), 3 * fastUs);
    isOver = true;
    for (std::thread& other : others)
        other.join();
    EXPECT_GT(host::measureEncoder(640, 360, "placebo", 50'000), 3 * fastUs);
    EXPECT_GT(host::measureEncoder(3840, 2160, "ultrafast", 0), 10 * fastUs)
            << "of 36 times as much";
    EXPECT_EQ(host::measureEncoder(0, 360, "ultrafast", 50'000), 0);
}

}  // namespace
}  // namespace oxa::test
