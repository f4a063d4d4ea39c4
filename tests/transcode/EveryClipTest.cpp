// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/MediaProbe.h"
#include "support/Test.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

struct Clip : Named {
    // Of the picture as it is looked at: upright, square points, even.
    int width;
    int height;
};

constexpr Clip kClips[] = {
        {"bear_161x121_vp9.webm", 160, 120},          {"bird_mpeg4asp_mp3.avi", 960, 400},
        {"bunny_480i_tff_mpeg2_mp2.ts", 854, 480},    {"bunny_480p_hevc.mp4", 854, 480},
        {"friday_audio_starts_1200ms.mp4", 640, 480}, {"friday_video_starts_1s.mp4", 640, 480},
        {"nasa_multistream.mp4", 320, 180},
};
// Those that take long.
constexpr Clip kLongClips[] = {
        {"flower_540p_h264_aac.mp4", 960, 540},    {"bunny_360p_aac51.ts", 640, 360},
        {"bunny_rotated90_aac51.mp4", 1080, 1920}, {"car_432p_12fps.mp4", 768, 432},
        {"flower_540p_vp8_vorbis.webm", 960, 540}, {"friday_480p_audio_first.mp4", 640, 480},
};

std::string nameOf(const testing::TestParamInfo<Clip>& info) {
    std::string name(info.param.name);
    name.resize(name.find('.'));
    return name;
}

class EveryClipTest : public testing::TestWithParam<Clip> {
  protected:
    // Transcodes with defaults, but for the options, and compares all but the pictures' content.
    void transcodeWhole(const std::string& name, const std::string& options) {
        mOutput = mFolder.file(name);
        transcode(mSource, mOutput, options);
        const MediaProbe source(mSource);
        const MediaProbe output(mOutput);
        ASSERT_NE(output.video(), nullptr) << output.error();
        ASSERT_EQ(output.audio() != nullptr, source.audio() != nullptr);
        const StreamProbe& video = *output.video();
        EXPECT_EQ(video.width, GetParam().width);
        EXPECT_EQ(video.height, GetParam().height);
        EXPECT_EQ(video.rotation, 0);
        EXPECT_EQ(video.sarNum, std::min(video.sarNum, video.sarDen)) << "square, or not told";
        if (!isTransportStream(mOutput)) {
            EXPECT_EQ(video.syncPacketCount, video.keyFrameCount);
        }
        const double laterUs = startChangeUs(source, output);
        expectSamePictures(*source.video(), video, laterUs);
        if (source.audio() == nullptr) return;
        EXPECT_EQ(output.audio()->channels, source.audio()->channels);
        expectSameSound(mSource, mOutput, laterUs / 1000);
    }

    const std::string mSource = mediaPath(GetParam().name);
    TempDir mFolder;
    std::string mOutput;
};

TEST_P(EveryClipTest, isWholeAndAsGoodAsThePeersInMp4) {
    ASSERT_NO_FATAL_FAILURE(transcodeWhole("out.mp4", kQualityOption));
    // What is told to be interlaced comes out without its combs.
    const bool isInterlaced = std::string(GetParam().name).find("480i") != std::string::npos;
    expectAsGoodAsPeer(mSource, mOutput, isInterlaced ? "bwdif=mode=send_frame," : "");
}

TEST_P(EveryClipTest, isWholeInATransportStream) {
    transcodeWhole("out.ts", "--preset ultrafast");
}

INSTANTIATE_TEST_SUITE_P(Media, EveryClipTest, testing::ValuesIn(kClips), nameOf);
INSTANTIATE_TEST_SUITE_P(LongMedia, EveryClipTest, testing::ValuesIn(kLongClips), nameOf);

}  // namespace
}  // namespace oxa::test
