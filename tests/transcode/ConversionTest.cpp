// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/MediaProbe.h"
#include "support/Test.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

class ConversionFixture : public testing::Test {
  protected:
    // The test fails unless the output has this size, and pictures as good as the peer's.
    void convert(const std::string& source, const std::string& options, const std::string& filters,
                 int width, int height, int64_t frames) {
        const std::string output = mFolder.file("out.mp4");
        transcode(source, output, kQualityOption + ("--only video " + options));
        const MediaProbe probe(output);
        ASSERT_NE(probe.video(), nullptr) << probe.error();
        EXPECT_EQ(probe.video()->width, width);
        EXPECT_EQ(probe.video()->height, height);
        EXPECT_EQ(probe.video()->rotation, 0);
        EXPECT_EQ(probe.video()->sarNum, std::min(probe.video()->sarNum, probe.video()->sarDen));
        EXPECT_EQ(probe.video()->frameCount, frames);
        expectAsGoodAsPeer(source, output, filters);
    }

    const TempDir mFolder;
};

constexpr char kFlower[] = "flower_540p_h264_aac.mp4";
constexpr char kWebm[] = "flower_540p_vp8_vorbis.webm";
constexpr char kHevc[] = "bunny_480p_hevc.mp4";
constexpr char kUpright[] = "bunny_rotated90_aac51.mp4";
constexpr char kInterlaced[] = "bunny_480i_tff_mpeg2_mp2.ts";
constexpr char kFrames[] = "bwdif=mode=send_frame:deint=interlaced,";
constexpr char kFields[] = "bwdif=mode=send_field:deint=interlaced,";
constexpr char kFewerFields[] = "bwdif=mode=send_field:deint=interlaced,fps=50,";

struct ConversionCase : Named {
    const char* clip;
    const char* options;
    const char* filters;  // the peer's, before the scaling
    int width;
    int height;
    int64_t frames;
};

const ConversionCase kConversions[] = {
        {"Smaller", kFlower, "--size 320x180", "", 320, 180, 150},
        {"Larger", kHevc, "--size 1280x720", "", 1280, 720, 30},
        {"Stretched", "friday_video_starts_1s.mp4", "--size 200x400", "", 200, 400, 92},
        {"FewerPictures", kFlower, "--fps 15", "fps=15,", 960, 540, 75},
        {"AwkwardlyFewer", kWebm, "--fps 12", "fps=12,", 960, 540, 60},
        {"MorePictures", kHevc, "--fps 60", "fps=60,", 854, 480, 60},
        {"AwkwardlyMore", "nasa_multistream.mp4", "--fps 30", "fps=30,", 320, 180, 390},
        {"UprightSmaller", kUpright, "--size 270x480", "", 270, 480, 45},
        {"UprightFewerSmaller", kUpright, "--size 540x960 --fps 12", "fps=12,", 540, 960, 23},
        {"InterlacedLeft", kInterlaced, "--deinterlace 0", "", 854, 480, 30},
        {"DeinterlacedFrames", kInterlaced, "--deinterlace 1", kFrames, 854, 480, 30},
        {"DeinterlacedFields", kInterlaced, "--deinterlace 2", kFields, 854, 480, 60},
        {"DeinterlacedSmaller", kInterlaced, "--deinterlace 2 --size 426x240 --fps 50",
         kFewerFields, 426, 240, 50},
};

class ConversionTest : public ConversionFixture,
                       public testing::WithParamInterface<ConversionCase> {};

TEST_P(ConversionTest, looksLikeThePeers) {
    const ConversionCase& test = GetParam();
    convert(mediaPath(test.clip), test.options, test.filters, test.width, test.height, test.frames);
}

INSTANTIATE_TEST_SUITE_P(Options, ConversionTest, testing::ValuesIn(kConversions),
                         rowName<ConversionCase>);

// Pictures that are not stored as they are looked at.
TEST_F(ConversionFixture, storedPicturesComeOutUprightAndSquare) {
    struct Stored {
        int width;
        int height;
        const char* aspect;  // of a point
        int rotation;        // clockwise, by the player
        int outputWidth;
        int outputHeight;
    };
    for (const Stored& stored :
         {Stored{352, 288, "12/11", 0, 384, 288}, Stored{320, 240, "3/4", 0, 240, 240},
          Stored{320, 240, "1", 90, 240, 320}, Stored{320, 240, "1", 180, 320, 240},
          Stored{320, 240, "1", 270, 240, 320}, Stored{352, 288, "16/11", 90, 288, 512}}) {
        SCOPED_TRACE(std::string(stored.aspect) + ", " + std::to_string(stored.rotation));
        ClipOptions options;
        options.seconds = 1;
        options.width = stored.width;
        options.height = stored.height;
        options.audio = false;
        options.videoFilter = std::string("setsar=") + stored.aspect;
        const std::string source = mFolder.file("source.mp4");
        // The command counts the other way round.
        const std::string rotation = "rotate=" + std::to_string((360 - stored.rotation) % 360);
        runOrDie(ffmpeg(
                {"-i", testClip(options), "-c", "copy", "-metadata:s:v:0", rotation, source}));
        ASSERT_EQ(MediaProbe(source).video()->rotation, stored.rotation);
        convert(source, "", "", stored.outputWidth, stored.outputHeight, 25);
    }
}

}  // namespace
}  // namespace oxa::test
