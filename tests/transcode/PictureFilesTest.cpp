// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/CodecConfig.h>

#include <array>

#include "support/MediaProbe.h"
#include "support/Test.h"
#include "transcode/LibraryJob.h"
#include "transcode/TranscodeKit.h"

// Files whose pictures are stored in unusual ways.

namespace oxa::test {
namespace {

using testing::HasSubstr;
using testing::Not;

class PictureFilesTest : public testing::Test {
  protected:
    const TempDir mFolder;
};

ClipOptions silentClip() {
    ClipOptions options;
    options.seconds = 1;
    options.audio = false;
    return options;
}

// ---- Times that do not rise

struct TimesCase : Named {
    // Of picture N, in milliseconds, where the regular ones are 40 apart.
    const char* times;
};

constexpr TimesCase kTimes[] = {
        {"Pairs", "80*floor(N/2)"},
        {"Threes", "120*floor(N/3)"},
        {"TheLastOne", "40*min(N\\,23)"},
        {"OneInTheMiddle", "if(eq(N\\,12)\\,440\\,40*N)"},
        {"OneThatFallsBack", "if(eq(N\\,12)\\,200\\,40*N)"},
        {"ALongRun", "if(between(N\\,5\\,18)\\,200\\,40*N)"},
        {"AllAlike", "0"},
        {"BeginningAgain", "40*mod(N\\,12)"},
};

class TimesTest : public PictureFilesTest, public testing::WithParamInterface<TimesCase> {};

// They are spread evenly, and no picture is lost.
TEST_P(TimesTest, areSpread) {
    ClipOptions options = silentClip();
    options.extension = "mkv";
    options.videoArguments = {"-bf", "0"};
    const std::string times = GetParam().times;
    options.outputArguments = {"-bsf:v", "setts=pts=" + times + ":dts=" + times};
    const std::string source = testClip(options);
    for (const char* name : {"out.mp4", "out.ts"}) {
        const std::string output = mFolder.file(name);
        const ProcessResult result = transcode(source, output);
        EXPECT_THAT(result.err, Not(HasSubstr("warning")));
        const MediaProbe probe(output);
        ASSERT_NE(probe.video(), nullptr) << probe.error();
        const std::vector<int64_t>& timesUs = probe.video()->timesUs;
        ASSERT_EQ(timesUs.size(), 25U);
        for (size_t i = 0; i < timesUs.size(); ++i)
            EXPECT_NEAR(timesUs[i], 40'000 * static_cast<int64_t>(i), 1000) << "picture " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Files, TimesTest, testing::ValuesIn(kTimes), rowName<TimesCase>);

// ---- Mirrored pictures

// A copy of an MP4 file whose first track is shown as these four numbers say: where its axes point.
std::string withDisplayMatrix(const std::string& clip, const std::array<int, 4>& axes,
                              const std::string& path) {
    constexpr size_t kMatrixOffset = 44;  // behind the name of a track header of version 0
    std::string content = readFile(clip);
    constexpr int kOne = 0x10000;
    const std::array<int, 9> matrix = {
            axes[0] * kOne, axes[1] * kOne, 0, axes[2] * kOne, axes[3] * kOne, 0, 0, 0, 1 << 30};
    size_t at = content.find("tkhd") + kMatrixOffset;
    for (const int number : matrix) {
        for (const int shift : {24, 16, 8, 0})
            content[at++] = static_cast<char>(static_cast<unsigned>(number) >> shift);
    }
    EXPECT_TRUE(writeFile(path, content));
    return path;
}

// The peer shows them as the container says.
TEST_F(PictureFilesTest, mirroredOnesComeOutAsTheyAreLookedAt) {
    const std::string clip = testClip(silentClip());
    const std::string output = mFolder.file("out.mp4");
    for (const std::array<int, 4>& axes :
         {std::array{-1, 0, 0, 1}, {1, 0, 0, -1}, {0, 1, 1, 0}, {0, -1, -1, 0}}) {
        SCOPED_TRACE(testing::PrintToString(axes));
        const std::string source = withDisplayMatrix(clip, axes, mFolder.file("source.mp4"));
        transcode(source, output, kQualityOption);
        const MediaProbe probe(output);
        ASSERT_NE(probe.video(), nullptr) << probe.error();
        EXPECT_EQ(probe.video()->width, axes[0] != 0 ? 320 : 240);
        EXPECT_EQ(probe.video()->height, axes[0] != 0 ? 240 : 320);
        expectAsGoodAsPeer(source, output);
    }
}

// ---- Sizes and formats

TEST_F(PictureFilesTest, tinyOnesAreEncoded) {
    for (const int size : {2, 4, 8, 14}) {
        SCOPED_TRACE(size);
        ClipOptions options = silentClip();
        options.width = size;
        options.height = size;
        const std::string source = testClip(options);
        const std::string output = mFolder.file("out.mp4");
        transcode(source, output);
        const MediaProbe probe(output);
        ASSERT_NE(probe.video(), nullptr) << probe.error();
        EXPECT_EQ(probe.video()->width, size);
        expectSamePictures(*MediaProbe(source).video(), *probe.video());
    }
}

struct FormatCase : Named {
    const char* extension;
    std::vector<std::string> encoder;
};

const FormatCase kFormats[] = {
        {"TenBits", "mp4", {"-c:v", "libx264", "-pix_fmt", "yuv420p10le"}},
        {"FourTwoTwo", "mp4", {"-c:v", "libx264", "-pix_fmt", "yuv422p"}},
        {"FourFourFour", "mp4", {"-c:v", "libx264", "-pix_fmt", "yuv444p"}},
        {"Rgb", "mp4", {"-c:v", "libx264rgb", "-pix_fmt", "rgb24"}},
        {"Palette", "gif", {"-c:v", "gif", "-pix_fmt", "bgr8"}},
        {"Grey", "mkv", {"-c:v", "ffv1", "-pix_fmt", "gray"}},
        {"FieldsAndFrames", "mp4", {"-flags", "+ildct+ilme", "-x264opts", "tff=1"}},
        {"OpenGroups", "ts", {"-x264-params", "open-gop=1:keyint=12:bframes=3"}},
};

class FormatTest : public PictureFilesTest, public testing::WithParamInterface<FormatCase> {};

TEST_P(FormatTest, isWholeAndAsGoodAsThePeers) {
    ClipOptions options = silentClip();
    options.extension = GetParam().extension;
    options.videoArguments = GetParam().encoder;
    const std::string source = testClip(options);
    const std::string output = mFolder.file("out.mp4");
    transcode(source, output, kQualityOption);
    expectSamePictures(*MediaProbe(source).video(), *MediaProbe(output).video());
    expectAsGoodAsPeer(source, output);
}

INSTANTIATE_TEST_SUITE_P(Files, FormatTest, testing::ValuesIn(kFormats), rowName<FormatCase>);

// What they become in the middle of a file, all pictures are of the first one's size.
TEST_F(PictureFilesTest, changesInTheMiddleKeepEveryPicture) {
    const struct {
        const char* filter;
        const char* pixelFormat;
    } kChanges[] = {{"scale=480:270", "yuv420p"},
                    {"null", "yuv422p"},
                    {"setsar=4/3", "yuv420p"},
                    {"scale=out_range=full", "yuvj420p"}};
    ClipOptions options = silentClip();
    options.extension = "ts";
    options.videoArguments = {"-bf", "0"};
    const std::string before = readFile(testClip(options));
    for (const auto& change : kChanges) {
        SCOPED_TRACE(std::string(change.filter) + " " + change.pixelFormat);
        options.videoFilter = change.filter;
        options.videoArguments = {"-bf", "0", "-pix_fmt", change.pixelFormat};
        options.outputArguments = {"-output_ts_offset", "1"};
        const std::string source = mFolder.file("source.ts");
        ASSERT_TRUE(writeFile(source, before + readFile(testClip(options))));
        const std::string output = mFolder.file("out.mp4");
        transcode(source, output);
        const MediaProbe probe(output);
        ASSERT_NE(probe.video(), nullptr) << probe.error();
        EXPECT_EQ(probe.video()->width, 320);
        EXPECT_EQ(probe.video()->frameCount, 50);
    }
}

// ---- An encoder that gives its codec-specific data first, as televisions' do

TEST_F(PictureFilesTest, codecConfigThatComesFirstIsNoPicture) {
    const std::string source = testClip(silentClip());
    host::setCodecConfigOutput(true);
    for (const char* name : {"out.mp4", "out.ts"}) {
        const std::string output = mFolder.file(name);
        LibraryJob job(source, output, android::CODEC_VIDEO_ONLY);
        ASSERT_NO_FATAL_FAILURE(job.start());
        ASSERT_NO_FATAL_FAILURE(job.waitForEnd());
        job.stopAndCleanUp();
        EXPECT_EQ(complaintsAbout(output), "");
        expectSamePictures(*MediaProbe(source).video(), *MediaProbe(output).video());
    }
    host::setCodecConfigOutput(false);
}

}  // namespace
}  // namespace oxa::test
