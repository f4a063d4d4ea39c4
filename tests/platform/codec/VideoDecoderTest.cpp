// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gui/Surface.h>
#include <mediadrm/ICrypto.h>

#include "ffmpeg/TrackParameters.h"
#include "graphics/LocalBufferProducer.h"
#include "graphics/PictureQueue.h"
#include "support/FaultLog.h"
#include "support/MediaReader.h"
#include "support/PlayJob.h"
#include "support/Test.h"

namespace oxa::test {
namespace {

using namespace android;

// 92 pictures with reordering.
std::string fridayClip() {
    return mediaPath("friday_video_starts_1s.mp4");
}

std::string clipWith(const char* codec, std::vector<std::string> arguments) {
    ClipOptions clip;
    clip.seconds = 0.2;
    clip.audio = false;
    clip.videoCodec = codec;
    clip.videoArguments = std::move(arguments);
    return testClip(clip);
}

std::string colouredClip(const char* colours, const char* range) {
    return clipWith("libx264", {"-color_primaries", colours, "-color_trc", colours, "-colorspace",
                                colours, "-color_range", range});
}

// An encoder writes into its header what the surface tells it. A size that is asked for means
// square samples; else the source's are told, here 32:27. RGB says nothing of what a conversion
// makes of it.
TEST(VideoDecoder, tellsTheSurfaceTheColoursAndTheSampleAspect) {
    const std::string interlaced = mediaPath("bunny_480i_tff_mpeg2_mp2.ts");
    for (const auto& [path, askSize, aspect, isRgb] :
         {std::tuple(colouredClip("bt709", "tv"), true, AVRational{1, 1}, false),
          {colouredClip("smpte170m", "pc"), false, {1, 1}, false},
          {interlaced, true, {1, 1}, false},
          {interlaced, false, {32, 27}, false},
          {clipWith("libx264rgb", {"-pix_fmt", "rgb24"}), false, {1, 1}, true}}) {
        SCOPED_TRACE(path);
        const MediaReader reader(path);
        const int stream = reader.findStream(AVMEDIA_TYPE_VIDEO);
        const AVCodecParameters& wanted = *reader.format()->streams[stream]->codecpar;
        const sp<PictureQueue> queue = new PictureQueue;
        PlayJobOptions options;
        options.path = path;
        options.producer = new LocalBufferProducer(queue);
        options.onEvent = [](const CodecEvent&) {};
        options.onFormat = [&wanted, askSize = askSize](const sp<AMessage>& format) {
            format->setInt32("eWid", askSize ? wanted.width : 0);
            format->setInt32("eHei", askSize ? wanted.height : 0);
            return OK;
        };
        PlayJob job(options);
        ASSERT_TRUE(job.start());
        ASSERT_TRUE(job.decoder().waitForCount(MediaCodec::CB_OUTPUT_FORMAT_CHANGED, 1));
        int32_t crop[4] = {};
        EXPECT_TRUE(
                CodecClient::ofKind(job.decoder().events(), MediaCodec::CB_OUTPUT_FORMAT_CHANGED)[0]
                        .format->findRect("crop", &crop[0], &crop[1], &crop[2], &crop[3]));
        EXPECT_THAT(crop, testing::ElementsAre(0, 0, wanted.width - 1, wanted.height - 1));
        const PictureFormat told = queue->format();
        EXPECT_EQ(isRgb ? AVCOL_RANGE_MPEG : wanted.color_range, told.range);
        EXPECT_EQ(isRgb ? AVCOL_SPC_SMPTE170M : wanted.color_space, told.matrix);
        if (isRgb) continue;
        EXPECT_EQ(told.primaries, wanted.color_primaries);
        EXPECT_EQ(told.transfer, wanted.color_trc);
        EXPECT_EQ(told.chromaLocation, wanted.chroma_location);
        EXPECT_EQ(aspect.num, told.aspectNumerator);
        EXPECT_EQ(aspect.den, told.aspectDenominator);
    }
}

// A client that keeps its outputs has all places, and the decoder gets no further. A second decoder
// is refused until the first one has let go of the surface.
TEST(VideoDecoder, aSurfaceHasOneDecoderAndSoManyPlaces) {
    const sp<PictureQueue> queue = new PictureQueue;
    PlayJobOptions options;
    options.path = fridayClip();
    options.producer = new LocalBufferProducer(queue);
    options.onEvent = [](const CodecEvent&) {};
    PlayJob job(options);
    ASSERT_TRUE(job.start());
    ASSERT_TRUE(waitFor([&] {
        if (!queue->tryReserve()) return true;
        queue->cancelReservation();
        return false;
    }));
    job.decoder().settle();
    EXPECT_LE(CodecClient::countOf(job.decoder().events(), MediaCodec::CB_OUTPUT_AVAILABLE),
              PictureQueue::kDefaultPlaces);

    const sp<Surface> surface = new Surface(options.producer);
    CodecClient second("video/avc", false);
    const sp<AMessage> format = new AMessage;
    format->setString("mime", "video/avc");
    format->setInt32("width", 640);
    format->setInt32("height", 480);
    EXPECT_EQ(second->configure(format, surface, NULL, 0), -EINVAL);
    EXPECT_EQ(job.decoder()->stop(), OK);
    EXPECT_EQ(second->configure(format, surface, NULL, 0), OK);
}

TEST(VideoDecoder, decodesAllOnceMoreAfterItsEnd) {
    PlayJobOptions options;
    options.path = fridayClip();
    PlayJob job(options);
    ASSERT_TRUE(job.start());
    ASSERT_TRUE(job.waitForEnd());
    ASSERT_TRUE(job.startAgain());
    EXPECT_TRUE(job.decoder().waitForCount(MediaCodec::CB_OUTPUT_AVAILABLE, 2 * (92 + 1)));
}

// Of samples that nobody takes the earliest are forgotten.
TEST(TrackParametersTest, knowTheLast1024Samples) {
    AVCodecParameters* codec = avcodec_parameters_alloc();
    const sp<TrackParameters> track = new TrackParameters(*codec, {1, 1000}, 0);
    avcodec_parameters_free(&codec);
    const PacketPtr packet(av_packet_alloc());
    for (int64_t i = 0; i <= 1024; ++i) {
        packet->pts = i;
        track->pushSample(*packet, i * 1000);
    }
    EXPECT_FALSE(track->popSample(0, packet.get()));
    EXPECT_TRUE(track->popSample(1000, packet.get()));
    EXPECT_EQ(packet->pts, 1);
    EXPECT_TRUE(track->popSample(1024000, packet.get()));
    EXPECT_EQ(packet->pts, 1024);
    EXPECT_FALSE(track->popSample(2000, packet.get())) << "left out with those before it";
}

// ---- Damage

// Bytes that are no H.264 at all, in every n-th sample.
TEST(VideoDecoder, skipsAndCountsDamage) {
    for (const size_t everyNth : {1, 5}) {
        SCOPED_TRACE(everyNth);
        FaultLog faults;
        PlayJobOptions options;
        options.path = fridayClip();
        options.onSample = [everyNth](size_t number, uint8_t* data, size_t size) {
            if (number % everyNth != everyNth - 1) return;
            for (size_t i = 0; i < size; ++i)
                data[i] = static_cast<uint8_t>(i * 37 + number);
        };
        PlayJob job(options);
        ASSERT_TRUE(job.run());
        const size_t pictures = CodecClient::countOf(job.decoder().events(),
                                                     MediaCodec::CB_OUTPUT_AVAILABLE) -
                                1;  // the end
        const size_t damaged = 92 / everyNth;
        EXPECT_LE(pictures, 92 - damaged);
        EXPECT_GE(pictures + 2 * damaged, 92u);
        // Each fault names the count so far: 1, 10, ... and the last one all. A few samples happen
        // to look like something that may be left out.
        const auto reported = faults.faults();
        ASSERT_GE(reported.size(), 3u);
        uint64_t next = 1;
        for (const auto& fault : reported) {
            EXPECT_EQ(fault.source, oxa::host::FaultSource::kDecoder);
            EXPECT_EQ(fault.object, "c2.linux.h264.decoder");
            EXPECT_FALSE(fault.ended);
            EXPECT_EQ(std::min(next, reported.back().count), fault.count);
            next *= 10;
        }
        EXPECT_GE(reported.back().count, damaged * 9 / 10);
    }
}

}  // namespace
}  // namespace oxa::test
