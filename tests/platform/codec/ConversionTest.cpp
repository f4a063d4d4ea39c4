// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/PlayJob.h"
#include "support/Test.h"

namespace oxa::test {
namespace {

using namespace android;

// What a decoder is asked for (0: nothing), and the same for the command.
struct Conversion {
    std::string path;
    int width, height, frameRate, deinterlace;
    std::string filters;
};

// Sample by sample what the command gives, at the rate that is asked for.
void expectPicturesOfTheCommand(const Conversion& wanted) {
    SCOPED_TRACE(wanted.path + " through " + wanted.filters);
    std::string pictures;
    std::vector<int64_t> timesUs;
    PlayJobOptions options;
    options.path = wanted.path;
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
        if (event.id != MediaCodec::CB_OUTPUT_AVAILABLE || event.size == 0) return;
        job->expect(job->decoder()->getOutputBuffer(event.index, &buffer));
        pictures.append(buffer->data(), buffer->data() + buffer->size());
        timesUs.push_back(event.timeUs);
        job->expect(job->decoder()->releaseOutputBuffer(event.index));
    };
    PlayJob player(options);
    job = &player;
    ASSERT_TRUE(player.run());

    const std::string expected =
            runOrDie({"ffmpeg", "-v", "error", "-nostdin", "-i", wanted.path, "-map", "0:v:0",
                      "-vf", wanted.filters, "-fps_mode", "passthrough", "-pix_fmt", "yuv420p",
                      "-f", "rawvideo", "-"})
                    .out;
    ASSERT_FALSE(expected.empty());
    ASSERT_EQ(pictures.size(), expected.size());
    EXPECT_TRUE(expected == pictures);
    for (size_t i = 0; wanted.frameRate > 0 && i < timesUs.size(); ++i)
        ASSERT_NEAR(timesUs[i] - timesUs[0], 1e6 * i / wanted.frameRate, 2);
}

TEST(Conversions, areThoseOfTheCommand) {
    const Conversion kConversions[] = {
            {mediaPath("bear_161x121_vp9.webm"), 320, 240, 0, 0, "scale=320:240:flags=bicubic"},
            {mediaPath("bunny_480i_tff_mpeg2_mp2.ts"), 640, 360, 0, 2,
             "bwdif=mode=send_field:deint=interlaced,scale=640:360:flags=bicubic"},
            {mediaPath("bunny_480p_hevc.mp4"), 854, 480, 0, 2, "null"},
            {mediaPath("bunny_480p_hevc.mp4"), 854, 360, 0, 0, "scale=854:360:flags=bicubic"},
            {mediaPath("bunny_480p_hevc.mp4"), 640, 480, 0, 0, "scale=640:480:flags=bicubic"},
            {mediaPath("friday_video_starts_1s.mp4"), 0, 0, 24, 0, "fps=24"},
    };
    for (const Conversion& wanted : kConversions)
        expectPicturesOfTheCommand(wanted);
}

// Scaled or not, all become 8-bit 4:2:0.
TEST(Conversions, ofEveryPixelFormatAreThoseOfTheCommand) {
    const TempDir folder;
    for (const std::string filter :
         {"format=yuv420p", "format=yuv422p", "format=yuv444p", "format=yuv411p",
          "format=yuv420p10le", "format=yuv422p10le", "format=gray", "format=rgb24",
          "format=yuva420p", "scale=out_range=full,format=yuv420p"}) {
        const std::string path = folder.file(filter + ".nut");
        // Raw pictures do not tell their range.
        const bool rangeMatters = filter.find("full") != std::string::npos;
        runOrDie({"ffmpeg", "-v", "error", "-nostdin", "-f", "lavfi", "-i",
                  "testsrc2=size=160x120:rate=25:duration=0.2", "-vf", filter, "-c:v",
                  rangeMatters ? "libvpx-vp9" : "rawvideo", path});
        expectPicturesOfTheCommand({path, 160, 120, 0, 0, "scale=160:120:flags=bicubic"});
        // A picture that is scaled gets the usual range, which not every release of the command
        // does.
        const std::string range = rangeMatters ? ":out_range=limited" : "";
        expectPicturesOfTheCommand({path, 300, 200, 0, 0, "scale=300:200:flags=bicubic" + range});
    }
}

}  // namespace
}  // namespace oxa::test
