// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <mediadrm/ICrypto.h>

#include <algorithm>
#include <ostream>

#include "graphics/PictureQueue.h"
#include "platform/codec/FaultLog.h"
#include "platform/codec/FrameSums.h"
#include "platform/codec/VideoJob.h"
#include "support/Deadline.h"
#include "support/MediaProbe.h"
#include "support/MediaReader.h"
#include "support/Pictures.h"
#include "support/ProcessRunner.h"
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

std::vector<int64_t> sourceTimesUs(const std::string& path) {
    MediaReader reader(path);
    std::vector<int64_t> times;
    reader.decode({reader.findStream(AVMEDIA_TYPE_VIDEO)},
                  [&](int, const AVFrame&, int64_t timeUs) { times.push_back(timeUs); });
    return times;
}

// ---- Every clip

struct Clip {
    const char* file;
    size_t pictures;
};

void PrintTo(const Clip& clip, std::ostream* out) {
    *out << clip.file;
}

class EveryClip : public testing::TestWithParam<Clip> {};

// Fails when a decoder is not drained, when an end overtakes pictures, or when times are rounded
// twice or made up.
TEST_P(EveryClip, KeepsAllPicturesAndTheirTimes) {
    const std::string path = mediaPath(GetParam().file);
    FaultLog faults;
    VideoJob job(optionsFor(path));
    ASSERT_TRUE(job.run());
    EXPECT_EQ(GetParam().pictures, job.units().size());
    EXPECT_EQ(sourceTimesUs(path), job.timesUs());
    EXPECT_EQ(job.pictureTimesUs(), job.timesUs());
    EXPECT_EQ(1u, job.decoderFormatCount());
    EXPECT_TRUE(faults.faults().empty());
}

INSTANTIATE_TEST_SUITE_P(
        Media, EveryClip,
        testing::Values(Clip{"flower_540p_h264_aac.mp4", 150},
                        Clip{"flower_540p_vp8_vorbis.webm", 150},
                        Clip{"friday_480p_audio_first.mp4", 185}, Clip{"bunny_360p_aac51.ts", 721},
                        Clip{"bunny_rotated90_aac51.mp4", 45}, Clip{"bunny_480p_hevc.mp4", 30},
                        Clip{"bunny_480i_tff_mpeg2_mp2.ts", 30}, Clip{"car_432p_12fps.mp4", 377},
                        Clip{"nasa_multistream.mp4", 325}, Clip{"bird_mpeg4asp_mp3.avi", 96},
                        Clip{"friday_video_starts_1s.mp4", 92},
                        Clip{"friday_audio_starts_1200ms.mp4", 92},
                        Clip{"bear_161x121_vp9.webm", 30}),
        [](const auto& info) {
            std::string name(info.param.file);
            name.resize(name.find('.'));
            return name;
        });

// ---- The end

class EarlyEnd : public testing::TestWithParam<int> {};

// The decoder's delay is longer than most of these clips: it holds all pictures when the end is
// signalled. Without any picture the end comes all the same.
TEST_P(EarlyEnd, LosesNoPicture) {
    for (const bool throughDecoder : {false, true}) {
        SCOPED_TRACE(throughDecoder ? "through the decoder" : "at the surface");
        VideoJobOptions options = optionsFor(mediaPath("flower_540p_h264_aac.mp4"));
        options.samples = GetParam();
        options.endThroughDecoder = throughDecoder;
        VideoJob job(options);
        ASSERT_TRUE(job.run());
        EXPECT_EQ(static_cast<size_t>(GetParam()), job.units().size());
        EXPECT_EQ(1u, job.decoderFormatCount());
    }
}

INSTANTIATE_TEST_SUITE_P(Samples, EarlyEnd, testing::Values(0, 1, 2, 3, 4, 5, 9, 17));

TEST(VideoTranscode, AnEndBeforeTheEncoderWasStartedIsRemembered) {
    for (const int samples : {0, 1, 4}) {
        SCOPED_TRACE(samples);
        VideoJobOptions options = optionsFor(mediaPath("flower_540p_h264_aac.mp4"));
        options.samples = samples;
        options.startEncoderLate = true;
        VideoJob job(options);
        ASSERT_TRUE(job.run());
        EXPECT_EQ(static_cast<size_t>(samples), job.units().size());
    }
}

TEST(VideoTranscode, AClipOfOnePictureGivesOne) {
    for (const char* codec : {"libx264", "mpeg4", "mpeg2video"}) {
        SCOPED_TRACE(codec);
        ClipOptions clip;
        clip.videoCodec = codec;
        VideoJob job(optionsFor(oneFrameVideo(clip)));
        ASSERT_TRUE(job.run());
        EXPECT_EQ(1u, job.units().size());
    }
}

// ---- Quality and headers

std::string encodeWithCommand(const std::string& source, const char* filters,
                              const std::vector<std::string>& encoder, const char* name) {
    std::vector<std::string> command = {"ffmpeg", "-v",   "error", "-nostdin",  "-y",         "-i",
                                        source,   "-map", "0:v:0", "-fps_mode", "passthrough"};
    if (filters[0] != '\0') command.insert(command.end(), {"-vf", filters});
    command.insert(command.end(), encoder.begin(), encoder.end());
    const std::string path = TempDir::ofProcess().file(name);
    command.push_back(path);
    runOrDie(command);
    return path;
}

struct QualityCase {
    const char* name;
    const char* clip;
    const char* filters;
    int width;
    int height;
};

void PrintTo(const QualityCase& quality, std::ostream* out) {
    *out << quality.name;
}

class Quality : public testing::TestWithParam<QualityCase> {};

TEST_P(Quality, IsThatOfTheCommand) {
    const QualityCase& wanted = GetParam();
    const std::string source = mediaPath(wanted.clip);
    VideoJobOptions options = optionsFor(source);
    options.width = wanted.width;
    options.height = wanted.height;
    VideoJob job(options);
    ASSERT_TRUE(job.run());
    const std::string ours = TempDir::ofProcess().file("ours.mp4");
    ASSERT_TRUE(job.write(ours));

    const double frameRate = MediaProbe(source).video()->frameRate;
    const std::string interval = std::to_string(static_cast<int>(2 * frameRate + 0.5));
    const std::string theirs = encodeWithCommand(
            source, wanted.filters,
            {"-c:v", "libx264", "-preset", "veryfast", "-b:v", "6M", "-bf", "0", "-g", interval},
            "theirs.mp4");
    const std::string ideal =
            encodeWithCommand(source, wanted.filters, {"-c:v", "ffv1"}, "ideal.mkv");
    const PsnrResult our = comparePictures(ideal, ours);
    const PsnrResult their = comparePictures(ideal, theirs);
    EXPECT_EQ(our.countA, our.countB);
    EXPECT_NEAR(their.mean.y, our.mean.y, 0.3);
    EXPECT_NEAR(their.mean.u, our.mean.u, 0.3);
    EXPECT_NEAR(their.mean.v, our.mean.v, 0.3);
    RecordProperty("ourPsnrY", std::to_string(our.mean.y));
    RecordProperty("theirPsnrY", std::to_string(their.mean.y));
}

INSTANTIATE_TEST_SUITE_P(Clips, Quality,
                         testing::Values(QualityCase{"AsItIs", "bunny_480p_hevc.mp4", "", 0, 0},
                                         QualityCase{"Larger", "bear_161x121_vp9.webm",
                                                     "scale=640:480:flags=bicubic", 640, 480},
                                         QualityCase{"RotatedAndSmaller",
                                                     "bunny_rotated90_aac51.mp4",
                                                     "scale=540:960:flags=bicubic", 540, 960}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(VideoTranscode, TheHeaderTellsTheColoursOfTheSource) {
    for (const char* colours : {"bt709", "smpte170m"}) {
        for (const char* range : {"tv", "pc"}) {
            SCOPED_TRACE(std::string(colours) + " " + range);
            ClipOptions clip;
            clip.seconds = 0.4;
            clip.audio = false;
            clip.videoArguments = {"-color_primaries", colours, "-color_trc",   colours,
                                   "-colorspace",      colours, "-color_range", range};
            const std::string source = testClip(clip);
            const std::string result = TempDir::ofProcess().file("colours.mp4");
            VideoJob job(optionsFor(source));
            ASSERT_TRUE(job.run());
            ASSERT_TRUE(job.write(result));
            const MediaReader sourceReader(source);
            const MediaReader resultReader(result);
            const AVCodecParameters& wanted = *sourceReader.format()->streams[0]->codecpar;
            const AVCodecParameters& actual = *resultReader.format()->streams[0]->codecpar;
            ASSERT_NE(AVCOL_PRI_UNSPECIFIED, wanted.color_primaries);
            EXPECT_EQ(wanted.color_range, actual.color_range);
            EXPECT_EQ(wanted.color_primaries, actual.color_primaries);
            EXPECT_EQ(wanted.color_trc, actual.color_trc);
            EXPECT_EQ(wanted.color_space, actual.color_space);
            EXPECT_EQ(wanted.chroma_location, actual.chroma_location);
        }
    }
}

// 10 bits, 4:4:4, grey, RGB: whatever there is becomes what every television plays.
TEST(VideoTranscode, OtherSampleFormatsBecome420) {
    for (const char* format : {"yuv420p10le", "yuv444p", "gray", "gbrp"}) {
        SCOPED_TRACE(format);
        ClipOptions clip;
        clip.seconds = 0.4;
        clip.audio = false;
        clip.extension = "mkv";
        clip.videoCodec = "ffv1";
        clip.videoArguments = {"-pix_fmt", format};
        const std::string source = testClip(clip);
        const std::string result = TempDir::ofProcess().file("format.mp4");
        VideoJob job(optionsFor(source));
        ASSERT_TRUE(job.run());
        ASSERT_TRUE(job.write(result));
        const MediaReader reader(result);
        EXPECT_EQ(AV_PIX_FMT_YUV420P, reader.format()->streams[0]->codecpar->format);
        const PsnrResult quality = comparePictures(source, result);
        EXPECT_EQ(quality.countA, quality.countB);
        EXPECT_GT(quality.mean.y, 35);
    }
}

// A size that is asked for means square samples; else the source's are told, here 32:27.
TEST(VideoTranscode, ASourcesSampleAspectIsKeptUnlessASizeIsAskedFor) {
    for (const bool askSize : {false, true}) {
        SCOPED_TRACE(askSize);
        VideoJobOptions options = optionsFor(mediaPath("bunny_480i_tff_mpeg2_mp2.ts"));
        options.askSize = askSize;
        VideoJob job(options);
        const std::string result = TempDir::ofProcess().file("aspect.mp4");
        ASSERT_TRUE(job.run());
        ASSERT_TRUE(job.write(result));
        const MediaProbe probe(result);
        EXPECT_EQ(askSize ? 1 : 32, probe.video()->sarNum);
        EXPECT_EQ(askSize ? 1 : 27, probe.video()->sarDen);
    }
}

// ---- Bounds and stopping

// A client that keeps its outputs has all places, and the decoder gets no further.
TEST(VideoTranscode, ADecoderOffersNoMoreThanTheSurfaceHasPlacesFor) {
    VideoJobOptions options = optionsFor(mediaPath("friday_video_starts_1s.mp4"));
    options.holdPictures = true;
    VideoJob job(options);
    ASSERT_EQ(OK, job.prepare());
    ASSERT_EQ(OK, job.start());
    const sp<PictureQueue> queue = job.producer()->pictureQueue();
    ASSERT_TRUE(waitFor([&] {
        if (!queue->tryReserve()) return true;
        queue->cancelReservation();
        return false;
    }));
    job.decoder().settle();
    const auto events = job.decoder().events();
    EXPECT_LE(CodecClient::countOf(events, MediaCodec::CB_OUTPUT_AVAILABLE),
              PictureQueue::kDefaultPlaces);
    job.renderHeld();
    EXPECT_TRUE(job.waitForEnd());
    job.stop();
    EXPECT_EQ(92u, job.units().size());
}

// A second decoder on the same surface is refused until the first one has let go of it.
TEST(VideoTranscode, ASurfaceBelongsToOneDecoder) {
    VideoJob job(optionsFor(mediaPath("friday_video_starts_1s.mp4")));
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
    void runUntilTheMoment(VideoJob* job) {
        ASSERT_EQ(OK, job->prepare());
        ASSERT_EQ(OK, job->start());
        const StopCase& moment = GetParam();
        CodecClient& codec = moment.ofEncoder ? job->encoder() : job->decoder();
        ASSERT_TRUE(codec.waitForCount(moment.event, moment.count));
    }
    const VideoJobOptions mOptions = optionsFor(mediaPath("friday_480p_audio_first.mp4"));
};

TEST_P(Stopping, ComesToAnEndInAPipelinesOrder) {
    VideoJob job(mOptions);
    runUntilTheMoment(&job);
    job.stop();
    EXPECT_FALSE(job.failed());
}

TEST_P(Stopping, ComesToAnEndWhileCallbacksGoOn) {
    VideoJob job(mOptions);
    runUntilTheMoment(&job);
    job.abandon();
    EXPECT_EQ(OK, job.decoder()->stop());
    EXPECT_EQ(OK, job.encoder()->stop());
    // What was posted before the end may still arrive; then there is silence.
    const auto settledCount = [&job] {
        job.decoder().settle();
        job.encoder().settle();
        return job.decoder().events().size() + job.encoder().events().size();
    };
    const size_t settled = settledCount();
    EXPECT_EQ(OK, job.decoder()->release());
    EXPECT_EQ(OK, job.encoder()->release());
    EXPECT_EQ(settled, settledCount());
}

TEST_P(Stopping, ComesToAnEndWhenTheEncoderGoesFirst) {
    VideoJob job(mOptions);
    runUntilTheMoment(&job);
    job.abandon();
    EXPECT_EQ(OK, job.encoder()->release());
    EXPECT_EQ(OK, job.decoder()->release());
}

constexpr StopCase kMoments[] = {
        {"AtTheFirstInput", false, MediaCodec::CB_INPUT_AVAILABLE, 1},
        {"AtInput7", false, MediaCodec::CB_INPUT_AVAILABLE, 7},
        {"AtTheFormat", false, MediaCodec::CB_OUTPUT_FORMAT_CHANGED, 1},
        {"AtTheFirstPicture", false, MediaCodec::CB_OUTPUT_AVAILABLE, 1},
        {"AtPicture30", false, MediaCodec::CB_OUTPUT_AVAILABLE, 30},
        {"AtTheEncodersFormat", true, MediaCodec::CB_OUTPUT_FORMAT_CHANGED, 1},
        {"AtTheFirstUnit", true, MediaCodec::CB_OUTPUT_AVAILABLE, 1},
        {"AtUnit40", true, MediaCodec::CB_OUTPUT_AVAILABLE, 40},
        {"WhileDraining", true, MediaCodec::CB_OUTPUT_AVAILABLE, 178},
};

INSTANTIATE_TEST_SUITE_P(Moments, Stopping, testing::ValuesIn(kMoments),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- Damage

// Each fault names the count so far: 1, 10, 100, ... and the last one all.
void expectSparseReports(const std::vector<oxa::host::Fault>& faults) {
    uint64_t expected = 1;
    for (size_t i = 0; i < faults.size(); ++i) {
        EXPECT_EQ(oxa::host::FaultSource::kDecoder, faults[i].source);
        EXPECT_EQ("c2.linux.h264.decoder", faults[i].object);
        EXPECT_FALSE(faults[i].ended);
        if (i + 1 < faults.size()) {
            EXPECT_EQ(expected, faults[i].count);
            expected *= 10;
        } else {
            EXPECT_LE(faults[i].count, expected);
        }
    }
}

TEST(DamagedVideo, WithoutSomePacketsGivesThePicturesOfTheCommand) {
    const std::string path = dropTsPackets(mediaPath("bunny_360p_aac51.ts"), 97);
    const size_t decodable = commandSums(path, "").frames.size();
    ASSERT_GT(decodable, 500u);
    FaultLog faults;
    VideoJob job(optionsFor(path));
    ASSERT_TRUE(job.run());
    EXPECT_NEAR(static_cast<double>(decodable), static_cast<double>(job.units().size()), 8);
    const std::vector<int64_t> timesUs = job.timesUs();
    EXPECT_TRUE(std::is_sorted(timesUs.begin(), timesUs.end()));
}

// Bytes that are no H.264 at all, in every n-th sample.
class Garbage : public testing::TestWithParam<int> {};

TEST_P(Garbage, IsSkippedAndCounted) {
    const int everyNth = GetParam();
    FaultLog faults;
    VideoJobOptions options = optionsFor(mediaPath("friday_480p_audio_first.mp4"));
    options.onSample = [everyNth](int number, uint8_t* data, size_t size) {
        if (number % everyNth != everyNth - 1) return;
        for (size_t i = 0; i < size; ++i)
            data[i] = static_cast<uint8_t>(i * 37 + number);
    };
    VideoJob job(options);
    ASSERT_TRUE(job.run());
    const size_t damaged = 185 / everyNth;
    EXPECT_LE(job.units().size(), 185 - damaged);
    EXPECT_GE(job.units().size() + 2 * damaged, 185u);
    const auto reported = faults.faults();
    ASSERT_FALSE(reported.empty());
    EXPECT_LE(reported.size(), 4u);
    expectSparseReports(reported);
    // A few of them happen to look like something that may be left out.
    EXPECT_GE(reported.back().count, damaged * 9 / 10);
}

INSTANTIATE_TEST_SUITE_P(EveryNth, Garbage, testing::Values(1, 5, 40));

}  // namespace
}  // namespace oxa::test
