// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <gui/Surface.h>
#include <mediadrm/ICrypto.h>

#include <algorithm>
#include <ostream>

#include "graphics/LocalBufferProducer.h"
#include "graphics/PictureQueue.h"
#include "platform/codec/FaultLog.h"
#include "platform/codec/VideoJob.h"
#include "support/Deadline.h"
#include "support/MediaReader.h"
#include "support/Pictures.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

namespace oxa::test {
namespace {

using namespace android;

VideoJobOptions optionsFor(const std::string& path) {
    VideoJobOptions options;
    options.path = path;
    return options;
}

// 92 pictures with reordering.
std::string fridayClip() {
    return mediaPath("friday_video_starts_1s.mp4");
}

// Fails when a decoder is not drained, when an end overtakes pictures, or when times are rounded
// twice or made up.
TEST(VideoTranscode, KeepsAllPicturesAndTheirTimes) {
    for (const std::string& path : {fridayClip(), mediaPath("bunny_480i_tff_mpeg2_mp2.ts"),
                                    mediaPath("bear_161x121_vp9.webm")}) {
        SCOPED_TRACE(path);
        std::vector<int64_t> expectedUs;
        MediaReader reader(path);
        reader.decode({reader.findStream(AVMEDIA_TYPE_VIDEO)},
                      [&](int, const AVFrame&, int64_t timeUs) { expectedUs.push_back(timeUs); });
        FaultLog faults;
        VideoJob job(optionsFor(path));
        ASSERT_TRUE(job.run());
        EXPECT_EQ(expectedUs, job.timesUs());
        EXPECT_EQ(expectedUs, job.pictureTimesUs());
        EXPECT_TRUE(faults.faults().empty());
    }
}

class EarlyEnd : public testing::TestWithParam<int> {};

// The decoder's delay is longer than most of these clips: it holds all pictures when the end is
// signalled. Without any picture the end comes all the same, and it is remembered for an encoder
// that was not started yet.
TEST_P(EarlyEnd, LosesNoPicture) {
    VideoJobOptions atSurface = optionsFor(mediaPath("flower_540p_h264_aac.mp4"));
    atSurface.samples = GetParam();
    VideoJobOptions throughDecoder = atSurface;
    throughDecoder.endThroughDecoder = true;
    VideoJobOptions beforeTheStart = atSurface;
    beforeTheStart.startEncoderLate = GetParam() <= 4;
    for (const VideoJobOptions& options : {atSurface, throughDecoder, beforeTheStart}) {
        VideoJob job(options);
        ASSERT_TRUE(job.run());
        EXPECT_EQ(static_cast<size_t>(GetParam()), job.units().size());
        EXPECT_EQ(1u, CodecClient::countOf(job.decoder().events(),
                                           MediaCodec::CB_OUTPUT_FORMAT_CHANGED));
    }
}

INSTANTIATE_TEST_SUITE_P(Samples, EarlyEnd, testing::Values(0, 1, 4, 17));

// ---- Headers

class Headers : public testing::Test {
  protected:
    void transcode(const VideoJobOptions& options) {
        VideoJob job(options);
        ASSERT_TRUE(job.run());
        ASSERT_TRUE(job.write(mResult));
        mReader = std::make_unique<MediaReader>(mResult);
        ASSERT_TRUE(mReader->ok());
    }

    const AVCodecParameters& result() const { return *mReader->format()->streams[0]->codecpar; }

    const std::string mResult = TempDir::ofProcess().file("result.h264");
    std::unique_ptr<MediaReader> mReader;
};

TEST_F(Headers, TellTheColoursOfTheSource) {
    const struct {
        const char* colours;
        const char* range;
    } kSources[] = {{"bt709", "tv"}, {"smpte170m", "pc"}};
    for (const auto& source : kSources) {
        SCOPED_TRACE(source.colours);
        ClipOptions clip;
        clip.seconds = 0.2;
        clip.audio = false;
        clip.videoArguments = {"-color_primaries", source.colours, "-color_trc",   source.colours,
                               "-colorspace",      source.colours, "-color_range", source.range};
        const std::string path = testClip(clip);
        ASSERT_NO_FATAL_FAILURE(transcode(optionsFor(path)));
        const MediaReader reader(path);
        const AVCodecParameters& wanted = *reader.format()->streams[0]->codecpar;
        ASSERT_NE(AVCOL_PRI_UNSPECIFIED, wanted.color_primaries);
        EXPECT_EQ(wanted.color_range, result().color_range);
        EXPECT_EQ(wanted.color_primaries, result().color_primaries);
        EXPECT_EQ(wanted.color_trc, result().color_trc);
        EXPECT_EQ(wanted.color_space, result().color_space);
        EXPECT_EQ(wanted.chroma_location, result().chroma_location);
    }
}

// 10 bits, 4:4:4, grey, RGB: whatever there is becomes what every television plays.
TEST_F(Headers, TellPlain420WhateverTheSourceIs) {
    for (const char* format : {"yuv420p10le", "yuv444p", "gray", "gbrp"}) {
        SCOPED_TRACE(format);
        ClipOptions clip;
        clip.seconds = 0.2;
        clip.audio = false;
        clip.extension = "mkv";
        clip.videoCodec = "ffv1";
        clip.videoArguments = {"-pix_fmt", format};
        const std::string path = testClip(clip);
        ASSERT_NO_FATAL_FAILURE(transcode(optionsFor(path)));
        EXPECT_EQ(AV_PIX_FMT_YUV420P, result().format);
        const PsnrResult quality = comparePictures(path, mResult);
        EXPECT_EQ(5u, quality.countB);
        EXPECT_GT(quality.mean.y, 35);
    }
}

// A size that is asked for means square samples; else the source's are told, here 32:27.
TEST_F(Headers, TellTheSourcesSampleAspectUnlessASizeIsAskedFor) {
    for (const bool askSize : {false, true}) {
        VideoJobOptions options = optionsFor(mediaPath("bunny_480i_tff_mpeg2_mp2.ts"));
        options.askSize = askSize;
        options.samples = 5;
        ASSERT_NO_FATAL_FAILURE(transcode(options));
        EXPECT_EQ(askSize ? 1 : 32, result().sample_aspect_ratio.num);
        EXPECT_EQ(askSize ? 1 : 27, result().sample_aspect_ratio.den);
    }
}

// ---- Bounds and stopping

// A client that keeps its outputs has all places, and the decoder gets no further.
TEST(VideoTranscode, ADecoderOffersNoMoreThanTheSurfaceHasPlacesFor) {
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
}

// A second decoder on the same surface is refused until the first one has let go of it.
TEST(VideoTranscode, ASurfaceBelongsToOneDecoder) {
    VideoJob job(optionsFor(fridayClip()));
    ASSERT_EQ(OK, job.prepare());
    const sp<Surface> surface = new Surface(job.producer());
    CodecClient second("video/avc", false);
    const sp<AMessage> format = new AMessage;
    format->setInt32("width", 640);
    format->setInt32("height", 480);
    EXPECT_EQ(-EINVAL, second->configure(format, surface, NULL, 0));
    EXPECT_EQ(OK, job.decoder()->stop());
    EXPECT_EQ(OK, second->configure(format, surface, NULL, 0));
    EXPECT_EQ(OK, second->release());
}

struct StopCase {
    const char* name;
    bool ofEncoder;
    int event;
    size_t count;
};

void PrintTo(const StopCase& moment, std::ostream* out) {
    *out << moment.name;
}

class Stopping : public testing::TestWithParam<StopCase> {
  protected:
    void SetUp() override {
        ASSERT_TRUE(mJob.start());
        const StopCase& moment = GetParam();
        CodecClient& codec = moment.ofEncoder ? mJob.encoder() : mJob.decoder();
        ASSERT_TRUE(codec.waitForCount(moment.event, moment.count));
    }

    VideoJob mJob{optionsFor(fridayClip())};
};

TEST_P(Stopping, ComesToAnEndInAPipelinesOrder) {
    for (CodecClient* codec : {&mJob.decoder(), &mJob.encoder()}) {
        codec->stopCallbacks();
        EXPECT_EQ(OK, (*codec)->stop());
        codec->release();
    }
    EXPECT_FALSE(mJob.failed());
}

TEST_P(Stopping, ComesToAnEndWhileCallbacksGoOn) {
    mJob.abandon();
    EXPECT_EQ(OK, mJob.decoder()->stop());
    EXPECT_EQ(OK, mJob.encoder()->stop());
    // What was posted before the end may still arrive; then there is silence.
    const auto settledCount = [this] {
        mJob.decoder().settle();
        mJob.encoder().settle();
        return mJob.decoder().events().size() + mJob.encoder().events().size();
    };
    const size_t settled = settledCount();
    EXPECT_EQ(OK, mJob.decoder()->release());
    EXPECT_EQ(OK, mJob.encoder()->release());
    EXPECT_EQ(settled, settledCount());
}

TEST_P(Stopping, ComesToAnEndWhenTheEncoderGoesFirst) {
    mJob.abandon();
    EXPECT_EQ(OK, mJob.encoder()->release());
    EXPECT_EQ(OK, mJob.decoder()->release());
}

constexpr StopCase kMoments[] = {
        {"AtTheFirstInput", false, MediaCodec::CB_INPUT_AVAILABLE, 1},
        {"AtTheFormat", false, MediaCodec::CB_OUTPUT_FORMAT_CHANGED, 1},
        {"AtPicture30", false, MediaCodec::CB_OUTPUT_AVAILABLE, 30},
        {"AtTheFirstUnit", true, MediaCodec::CB_OUTPUT_AVAILABLE, 1},
        {"WhileDraining", true, MediaCodec::CB_OUTPUT_AVAILABLE, 85},
};

INSTANTIATE_TEST_SUITE_P(Moments, Stopping, testing::ValuesIn(kMoments),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- Damage

// Bytes that are no H.264 at all, in every n-th sample.
class Garbage : public testing::TestWithParam<int> {};

TEST_P(Garbage, IsSkippedAndCounted) {
    const size_t everyNth = GetParam();
    FaultLog faults;
    VideoJobOptions options = optionsFor(fridayClip());
    options.onSample = [everyNth](size_t number, uint8_t* data, size_t size) {
        if (number % everyNth != everyNth - 1) return;
        for (size_t i = 0; i < size; ++i)
            data[i] = static_cast<uint8_t>(i * 37 + number);
    };
    VideoJob job(options);
    ASSERT_TRUE(job.run());
    const size_t damaged = 92 / everyNth;
    EXPECT_LE(job.units().size(), 92 - damaged);
    EXPECT_GE(job.units().size() + 2 * damaged, 92u);
    // Each fault names the count so far: 1, 10, ... and the last one all. A few samples happen to
    // look like something that may be left out.
    const auto reported = faults.faults();
    ASSERT_GE(reported.size(), 3u);
    uint64_t next = 1;
    for (const auto& fault : reported) {
        EXPECT_EQ(oxa::host::FaultSource::kDecoder, fault.source);
        EXPECT_EQ("c2.linux.h264.decoder", fault.object);
        EXPECT_FALSE(fault.ended);
        EXPECT_EQ(std::min(next, reported.back().count), fault.count);
        next *= 10;
    }
    EXPECT_GE(reported.back().count, damaged * 9 / 10);
}

INSTANTIATE_TEST_SUITE_P(EveryNth, Garbage, testing::Values(1, 5));

}  // namespace
}  // namespace oxa::test
