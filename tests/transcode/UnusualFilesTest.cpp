// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/MediaProbe.h"
#include "support/Test.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

using testing::HasSubstr;
using testing::Not;

// ---- Files with unusual tracks, whole -----------------------------------------------------------

class UnusualTracksTest : public testing::TestWithParam<const char*> {
  protected:
    // No option, no warning, and all of both tracks.
    void expectWhole(const std::string& source) {
        const std::string output = mFolder.file(GetParam());
        const ProcessResult result = transcode(source, output);
        EXPECT_THAT(result.err, Not(HasSubstr("warning")));
        const MediaProbe before(source);
        const MediaProbe after(output);
        ASSERT_TRUE(after.ok()) << after.error();
        ASSERT_EQ(after.video() != nullptr, before.video() != nullptr);
        ASSERT_EQ(after.audio() != nullptr, before.audio() != nullptr);
        if (before.video() != nullptr) expectSamePictures(*before.video(), *after.video());
        if (before.audio() != nullptr) {
            EXPECT_NEAR(after.audio()->endUs, before.audio()->endUs,
                        1024e6 / after.audio()->sampleRate);
        }
    }

    TempDir mFolder;
};

TEST_P(UnusualTracksTest, soundWithACoverPicture) {
    expectWhole(coverPictureClip());
}

TEST_P(UnusualTracksTest, onePicture) {
    expectWhole(oneFrameVideo());
    ClipOptions delayed;
    delayed.videoArguments = {"-bf", "3"};
    expectWhole(oneFrameVideo(delayed));
}

TEST_P(UnusualTracksTest, onePictureWithSound) {
    ClipOptions options;
    options.seconds = 0.04;
    options.audioSeconds = 4;
    expectWhole(testClip(options));
}

TEST_P(UnusualTracksTest, soundMuchLongerThanPicture) {
    ClipOptions options;
    options.seconds = 10;
    options.width = 160;
    options.height = 120;
    options.audioCodec = "mp2";
    options.extension = "mkv";
    options.audioSeconds = 300;
    expectWhole(testClip(options));
}

TEST_P(UnusualTracksTest, pictureMuchLongerThanSound) {
    ClipOptions options;
    options.seconds = 300;
    options.frameRateNum = 10;
    options.width = 96;
    options.height = 64;
    options.audioSeconds = 10;
    expectWhole(testClip(options));
}

// Who has read as far as the picture finds no sound behind it. (mkv counts in milliseconds.)
TEST_P(UnusualTracksTest, soundThatEndsBeforeThePicture) {
    ClipOptions options;
    options.seconds = 1;
    options.extension = "mkv";
    options.outputArguments = {"-bsf:v", "setts=pts=PTS+3000:dts=DTS+3000"};
    expectWhole(testClip(options));
}

// Sound that is missing for a while must not let the rest of it come too early.
TEST_P(UnusualTracksTest, holeInTheSound) {
    ClipOptions options;
    options.seconds = 6;  // six flashes, of which one loses its beep
    options.extension = "mkv";
    options.outputArguments = {"-bsf:a", "noise=drop='between(pts,2200,3200)'"};
    const std::string source = flashBeepClip(options);
    expectWhole(source);
    expectSameSync(source, mFolder.file(GetParam()), 5);
}

INSTANTIATE_TEST_SUITE_P(Containers, UnusualTracksTest, testing::Values("out.mp4", "out.ts"),
                         [](const auto& info) {
                             return std::string(info.param).substr(sizeof("out.") - 1);
                         });

// ---- Damaged files ------------------------------------------------------------------------------

enum class Damage { kLostPackets, kHole, kCut };

struct DamageCase : Named {
    const char* clip;
    Damage damage;
    double amount;  // every so many packets; the begin of the hole; what is left
};

constexpr char kMp4[] = "flower_540p_h264_aac.mp4";
constexpr char kWebm[] = "flower_540p_vp8_vorbis.webm";
constexpr char kAvi[] = "bird_mpeg4asp_mp3.avi";
constexpr char kMpeg2[] = "bunny_480i_tff_mpeg2_mp2.ts";
constexpr char kTs[] = "bunny_360p_aac51.ts";

const DamageCase kDamages[] = {
        {"LostTsPackets", kTs, Damage::kLostPackets, 50},
        {"ManyLostTsPackets", kTs, Damage::kLostPackets, 9},
        {"HoleInMp4", kMp4, Damage::kHole, 0.45},
        {"HoleInTs", kTs, Damage::kHole, 0.45},
        {"HoleInMpeg2Ts", kMpeg2, Damage::kHole, 0.5},
        {"HoleInWebM", kWebm, Damage::kHole, 0.45},
        {"HoleInAvi", kAvi, Damage::kHole, 0.45},
        {"CutMp4", kMp4, Damage::kCut, 0.6},
        {"CutAvi", kAvi, Damage::kCut, 0.6},
        {"CutWebM", kWebm, Damage::kCut, 0.6},
        {"CutTs", kTs, Damage::kCut, 0.6},
};

class DamagedFileTest : public testing::TestWithParam<DamageCase> {
  protected:
    static std::string damagedFile() {
        const double amount = GetParam().amount;
        const std::string clip = mediaPath(GetParam().clip);
        const std::string whole = GetParam().clip == kTs ? truncateClip(clip, 0.25) : clip;
        if (GetParam().damage == Damage::kHole) return zeroRegion(whole, amount, 0.55);
        if (GetParam().damage == Damage::kCut) return truncateClip(whole, amount);
        return dropTsPackets(whole, static_cast<int>(amount));
    }

    const TempDir mFolder;
};

TEST_P(DamagedFileTest, givesWhatCanBeDecoded) {
    const std::string source = damagedFile();
    const MediaProbe before(source);
    ASSERT_NE(before.video(), nullptr) << before.error();
    ASSERT_GT(before.video()->frameCount, 20);
    for (const std::string& output : {mFolder.file("out.mp4"), mFolder.file("out.ts")}) {
        const ProcessResult result = transcode(source, output, "--size 320x180 --preset ultrafast");
        EXPECT_THAT(result.err, HasSubstr("warning: "));
        const MediaProbe after(output);
        ASSERT_NE(after.video(), nullptr) << after.error();
        // How much of a damaged picture is worth showing is a matter of taste, and of threads.
        const double tolerance = 3 + 0.03 * static_cast<double>(before.video()->frameCount);
        EXPECT_NEAR(after.video()->frameCount, before.video()->frameCount, tolerance);
        EXPECT_NEAR(after.video()->endUs, before.video()->endUs, 500'000);
        if (before.audio() == nullptr || before.audio()->frameCount == 0) continue;
        ASSERT_NE(after.audio(), nullptr);
        EXPECT_NEAR(after.audio()->endUs, before.audio()->endUs, 500'000);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, DamagedFileTest, testing::ValuesIn(kDamages), rowName<DamageCase>);

}  // namespace
}  // namespace oxa::test
