// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <cstdio>
#include <ostream>
#include <sstream>

#include "platform/codec/PlayJob.h"
#include "support/ProcessRunner.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

extern "C" {
#include <libavutil/mathematics.h>
#include <libavutil/md5.h>
}

namespace oxa::test {
namespace {

using namespace android;

// What a decoder is asked for (0: nothing), and the same for the command.
struct ConversionCase {
    const char* name;
    const char* clip;
    int width;
    int height;
    int frameRate;
    int deinterlace;
    const char* filters;
};

void PrintTo(const ConversionCase& conversion, std::ostream* out) {
    *out << conversion.name;
}

struct Frame {
    int64_t timeUs = 0;
    std::string md5;
};

struct Frames {
    int width = 0;
    int height = 0;
    int64_t tickUs = 1;  // how fine the times are
    std::vector<Frame> frames;
};

std::string md5Of(const uint8_t* data, size_t size) {
    uint8_t sum[16];
    char text[33] = {};
    av_md5_sum(sum, data, size);
    for (int i = 0; i < 16; ++i)
        snprintf(text + 2 * i, 3, "%02x", sum[i]);
    return text;
}

Frames commandFrames(const std::string& path, const std::string& filters) {
    std::istringstream lines(
            runOrDie({"ffmpeg", "-v", "error", "-nostdin", "-i", path, "-map", "0:v:0", "-vf",
                      filters, "-fps_mode", "passthrough", "-enc_time_base", "-1", "-pix_fmt",
                      "yuv420p", "-f", "framemd5", "-"})
                    .out);
    Frames result;
    AVRational timeBase = {0, 1};
    for (std::string line; std::getline(lines, line);) {
        long long pts = 0;
        char md5[33] = {};
        sscanf(line.c_str(), "#tb 0: %d/%d", &timeBase.num, &timeBase.den);
        sscanf(line.c_str(), "#dimensions 0: %dx%d", &result.width, &result.height);
        if (sscanf(line.c_str(), "%*d, %*d, %lld, %*d, %*d, %32s", &pts, md5) != 2) continue;
        result.frames.push_back({av_rescale_q(pts, timeBase, AVRational{1, 1000000}), md5});
    }
    result.tickUs = INT64_C(1000000) * timeBase.num / timeBase.den + 1;
    return result;
}

Frames decoderFrames(const std::string& path, const ConversionCase& wanted) {
    Frames result;
    PlayJobOptions options;
    options.path = path;
    options.onFormat = [&wanted](const sp<AMessage>& format) {
        format->setInt32("eWid", wanted.width);
        format->setInt32("eHei", wanted.height);
        format->setInt32("eFps", wanted.frameRate);
        format->setInt32("video-de-interlace", wanted.deinterlace);
        return OK;
    };
    PlayJob* job = nullptr;
    options.onEvent = [&](const CodecEvent& event) {
        sp<MediaCodecBuffer> buffer;
        if (event.id == MediaCodec::CB_OUTPUT_FORMAT_CHANGED) {
            event.format->findInt32("width", &result.width);
            event.format->findInt32("height", &result.height);
        } else if (job->decoder()->getOutputBuffer(event.index, &buffer) == OK) {
            if (event.size > 0) {
                result.frames.push_back({event.timeUs, md5Of(buffer->data(), buffer->size())});
            }
            job->expect(job->decoder()->releaseOutputBuffer(event.index));
        }
    };
    PlayJob player(options);
    job = &player;
    EXPECT_TRUE(player.run());
    return result;
}

constexpr ConversionCase kConversions[] = {
        {"LargerFromOdd", "bear_161x121_vp9.webm", 320, 240, 0, 0, "scale=320:240:flags=bicubic"},
        {"RotatedAndSmaller", "bunny_rotated90_aac51.mp4", 540, 960, 0, 0,
         "scale=540:960:flags=bicubic"},
        {"OnePictureForAFrame", "bunny_480i_tff_mpeg2_mp2.ts", 0, 0, 0, 1,
         "bwdif=mode=send_frame:deint=interlaced"},
        {"OnePictureForAFieldAndScaled", "bunny_480i_tff_mpeg2_mp2.ts", 640, 360, 0, 2,
         "bwdif=mode=send_field:deint=interlaced,scale=640:360:flags=bicubic"},
        {"ProgressiveOfItsOwnSizeIsLeftAlone", "bunny_480p_hevc.mp4", 854, 480, 0, 2, "null"},
        {"HalfTheRate", "friday_480p_audio_first.mp4", 0, 0, 15, 0, "fps=15"},
        {"AHigherRate", "bunny_480p_hevc.mp4", 426, 240, 50, 0,
         "scale=426:240:flags=bicubic,fps=50"},
        {"AnOddRateWithALateStart", "friday_video_starts_1s.mp4", 0, 0, 24, 0, "fps=24"},
};

// Sample by sample what the command gives, at its times.
void expectFramesOfTheCommand(const std::string& path, const ConversionCase& wanted) {
    const Frames expected = commandFrames(path, wanted.filters);
    const Frames actual = decoderFrames(path, wanted);
    ASSERT_FALSE(expected.frames.empty());
    EXPECT_EQ(expected.width, actual.width);
    EXPECT_EQ(expected.height, actual.height);
    ASSERT_EQ(expected.frames.size(), actual.frames.size());
    for (size_t i = 0; i < expected.frames.size(); ++i) {
        ASSERT_NEAR(expected.frames[i].timeUs - expected.frames[0].timeUs,
                    actual.frames[i].timeUs - actual.frames[0].timeUs, expected.tickUs / 2 + 1)
                << "picture " << i;
        ASSERT_EQ(expected.frames[i].md5, actual.frames[i].md5) << "picture " << i;
    }
}

class Conversions : public testing::TestWithParam<ConversionCase> {};

TEST_P(Conversions, AreThoseOfTheCommand) {
    expectFramesOfTheCommand(mediaPath(GetParam().clip), GetParam());
}

// Scaled or not, all become 8-bit 4:2:0.
struct FormatCase {
    const char* name;
    const char* filter;
    const char* codec;
};
class PixelFormats : public testing::TestWithParam<FormatCase> {};

TEST_P(PixelFormats, BecomeThoseOfTheCommand) {
    const TempDir folder;
    const std::string path = folder.file("in.nut");
    runOrDie({"ffmpeg", "-v", "error", "-nostdin", "-f", "lavfi", "-i",
              "testsrc2=size=160x120:rate=25:duration=0.2", "-vf", GetParam().filter, "-c:v",
              GetParam().codec, path});
    for (const ConversionCase& wanted :
         {ConversionCase{"SameSize", "", 160, 120, 0, 0, "scale=160:120:flags=bicubic"},
          ConversionCase{"Larger", "", 300, 200, 0, 0, "scale=300:200:flags=bicubic"}}) {
        SCOPED_TRACE(wanted.name);
        expectFramesOfTheCommand(path, wanted);
    }
}

INSTANTIATE_TEST_SUITE_P(All, PixelFormats,
                         testing::Values(FormatCase{"Plain", "format=yuv420p", "rawvideo"},
                                         FormatCase{"C422", "format=yuv422p", "rawvideo"},
                                         FormatCase{"C444", "format=yuv444p", "rawvideo"},
                                         FormatCase{"C411", "format=yuv411p", "rawvideo"},
                                         FormatCase{"TenBits", "format=yuv420p10le", "rawvideo"},
                                         FormatCase{"TenBits422", "format=yuv422p10le", "rawvideo"},
                                         FormatCase{"Grey", "format=gray", "rawvideo"},
                                         FormatCase{"Rgb", "format=rgb24", "rawvideo"},
                                         FormatCase{"Alpha", "format=yuva420p", "rawvideo"},
                                         FormatCase{"FullRange",
                                                    "scale=out_range=full,format=yuv420p",
                                                    "libvpx-vp9"}),
                         [](const auto& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(All, Conversions, testing::ValuesIn(kConversions),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace oxa::test
