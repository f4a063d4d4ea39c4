// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <linux/videodev2.h>

#include "live/DeviceOptions.h"
#include "live/V4l2Modes.h"

extern "C" {
#include <libavutil/avutil.h>
#include <libavutil/pixdesc.h>
}

namespace oxa::test {
namespace {

using namespace android;

// As a usual webcam tells it: uncompressed pictures are slow in large sizes.
const std::vector<V4l2Mode> kWebcam = {
        {V4L2_PIX_FMT_MJPEG, 640, 480, {15, 30, 60}}, {V4L2_PIX_FMT_MJPEG, 1920, 1080, {30}},
        {V4L2_PIX_FMT_YUYV, 640, 480, {15, 30}},      {V4L2_PIX_FMT_YUYV, 1920, 1080, {5}},
        {V4L2_PIX_FMT_NV12, 640, 480, {15}},
};

struct ModeCase {
    const char* name;
    int width;
    int height;
    int rate;
    uint32_t format;  // 0: none
};

class V4l2ModeChoice : public testing::TestWithParam<ModeCase> {};

// The wrong choice gives 5 pictures a second where 30 were asked for, or costs decoding for
// nothing.
TEST_P(V4l2ModeChoice, IsUncompressedIfThatIsFastEnough) {
    const ModeCase& c = GetParam();
    const V4l2Mode* const mode = chooseV4l2Mode(kWebcam, c.width, c.height, c.rate);
    ASSERT_EQ(c.format != 0, mode != nullptr);
    if (mode == nullptr) return;
    EXPECT_EQ(c.format, mode->format);
    EXPECT_EQ(c.width == 0 ? 1920 : c.width, mode->width);
    EXPECT_NE(AV_PIX_FMT_NONE == av_get_pix_fmt(v4l2FormatName(mode->format)),
              mode->format != V4L2_PIX_FMT_MJPEG);
}

INSTANTIATE_TEST_SUITE_P(
        Webcam, V4l2ModeChoice,
        testing::Values(ModeCase{"RawReachesTheRate", 640, 480, 30, V4L2_PIX_FMT_YUYV},
                        ModeCase{"PreferredRawReachesTheRate", 640, 480, 15, V4L2_PIX_FMT_NV12},
                        ModeCase{"OnlyCompressedReachesIt", 640, 480, 60, V4L2_PIX_FMT_MJPEG},
                        ModeCase{"LargePictures", 1920, 1080, 30, V4L2_PIX_FMT_MJPEG},
                        ModeCase{"LargeButSlow", 1920, 1080, 5, V4L2_PIX_FMT_YUYV},
                        ModeCase{"NobodyReachesIt", 1920, 1080, 60, V4L2_PIX_FMT_MJPEG},
                        ModeCase{"LargestSize", 0, 0, 30, V4L2_PIX_FMT_MJPEG},
                        ModeCase{"NoSuchSize", 800, 600, 30, 0}),
        [](const auto& info) { return info.param.name; });

TEST(DeviceOptions, NameWhatIsWantedOfSound) {
    LiveSource source;
    std::string error;
    LiveOptions options;
    options.kind = LiveKind::kSound;
    options.channels = 2;
    options.sampleRate = 44100;
    DeviceOptions result;
    ASSERT_TRUE(parseLiveSource("alsa:hw:1,0", &source, &error));
    EXPECT_EQ("hw:1,0", source.name);
    EXPECT_TRUE(source.isDevice());
    ASSERT_EQ(0, deviceOptions(source, options, &result));
    EXPECT_EQ("alsa", result.format);
    const std::map<std::string, std::string> wanted = {{"channels", "2"}, {"sample_rate", "44100"}};
    EXPECT_EQ(wanted, result.settings);

    ASSERT_TRUE(parseLiveSource("pulse:alsa_input.usb", &source, &error));
    options.channels = 0;
    options.sampleRate = 0;
    result = DeviceOptions();
    ASSERT_EQ(0, deviceOptions(source, options, &result));
    EXPECT_EQ("pulse", result.format);
    EXPECT_TRUE(result.settings.empty());
}

TEST(LiveSource, TakesWhatHasNoKnownSchemeAsAFile) {
    LiveSource source;
    std::string error;
    for (const char* path : {"clip.mp4", "/a/v4l2:b.ts", "odd:name.mkv", "V4L2:/dev/video0"}) {
        ASSERT_TRUE(parseLiveSource(path, &source, &error));
        EXPECT_EQ(LiveScheme::kFile, source.scheme) << path;
        EXPECT_EQ(path, source.name);
        EXPECT_FALSE(source.isDevice());
    }
}

// Sound cards stamp on the wall clock and cameras on the monotonic one; taking one for the other
// puts sound years away from its picture.
TEST(DeviceOptions, BringStampsToTheMonotonicClock) {
    constexpr int64_t kNowUs = 5000000000;
    constexpr int64_t kWallUs = 1700000000000000;
    EXPECT_EQ(kNowUs - 20000, monotonicTimeOf(kNowUs - 20000, kNowUs, kWallUs));
    EXPECT_EQ(kNowUs - 20000, monotonicTimeOf(kWallUs + kNowUs - 20000, kNowUs, kWallUs));
    EXPECT_EQ(kNowUs, monotonicTimeOf(123, kNowUs, kWallUs));
    EXPECT_EQ(kNowUs, monotonicTimeOf(AV_NOPTS_VALUE, kNowUs, kWallUs));
}

}  // namespace
}  // namespace oxa::test
