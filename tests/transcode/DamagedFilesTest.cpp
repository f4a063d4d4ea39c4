// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/Test.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

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
        const bool isShort = GetParam().damage == Damage::kCut && GetParam().clip == kMp4;
        EXPECT_THAT(result.err, testing::HasSubstr(isShort ? "the file ends early" : "warning: "));
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
