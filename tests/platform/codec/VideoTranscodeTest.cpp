// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include "platform/codec/VideoJob.h"
#include "support/MediaReader.h"
#include "support/TestClips.h"

namespace oxa::test {
namespace {

using namespace android;

std::vector<int64_t> sourceTimesUs(const std::string& path) {
    MediaReader reader(path);
    std::vector<int64_t> times;
    reader.decode({reader.findStream(AVMEDIA_TYPE_VIDEO)},
                  [&](int, const AVFrame&, int64_t timeUs) { times.push_back(timeUs); });
    return times;
}

class EveryClip : public testing::TestWithParam<const char*> {};

TEST_P(EveryClip, KeepsAllPicturesAndTheirTimes) {
    VideoJobOptions options;
    options.path = mediaPath(GetParam());
    VideoJob job(options);
    ASSERT_TRUE(job.run());
    EXPECT_EQ(sourceTimesUs(options.path), job.timesUs());
    EXPECT_EQ(job.pictureTimesUs(), job.timesUs());
    EXPECT_EQ(1u, job.decoderFormatCount());
}

INSTANTIATE_TEST_SUITE_P(Media, EveryClip,
                         testing::Values("flower_540p_h264_aac.mp4", "flower_540p_vp8_vorbis.webm",
                                         "friday_480p_audio_first.mp4", "bunny_360p_aac51.ts",
                                         "bunny_rotated90_aac51.mp4", "bunny_480p_hevc.mp4",
                                         "bunny_480i_tff_mpeg2_mp2.ts", "car_432p_12fps.mp4",
                                         "nasa_multistream.mp4", "bird_mpeg4asp_mp3.avi",
                                         "friday_video_starts_1s.mp4",
                                         "friday_audio_starts_1200ms.mp4",
                                         "bear_161x121_vp9.webm"),
                         [](const auto& info) {
                             std::string name(info.param);
                             name.resize(name.find('.'));
                             return name;
                         });

}  // namespace
}  // namespace oxa::test
