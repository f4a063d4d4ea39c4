// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <linux/videodev2.h>

#include "live/DeviceOptions.h"
#include "live/V4l2Modes.h"
#include "support/Test.h"

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

// The wrong choice gives 5 pictures a second where 30 were asked for, or costs decoding for
// nothing.
TEST(DeviceOptions, AreUncompressedPicturesIfTheseAreFastEnough) {
    const struct {
        int width, height, rate;
        uint32_t format;
    } kCases[] = {{640, 480, 30, V4L2_PIX_FMT_YUYV},  {640, 480, 15, V4L2_PIX_FMT_NV12},
                  {640, 480, 60, V4L2_PIX_FMT_MJPEG}, {1920, 1080, 30, V4L2_PIX_FMT_MJPEG},
                  {1920, 1080, 5, V4L2_PIX_FMT_YUYV}, {1920, 1080, 60, V4L2_PIX_FMT_MJPEG},
                  {0, 0, 30, V4L2_PIX_FMT_MJPEG}};
    for (const auto& c : kCases) {
        SCOPED_TRACE(std::to_string(c.height) + " rows at " + std::to_string(c.rate));
        const V4l2Mode* const mode = chooseV4l2Mode(kWebcam, c.width, c.height, c.rate);
        ASSERT_NE(nullptr, mode);
        EXPECT_EQ(c.format, mode->format);
        EXPECT_EQ(c.width == 0 ? 1920 : c.width, mode->width);
        EXPECT_NE(AV_PIX_FMT_NONE == av_get_pix_fmt(v4l2FormatName(mode->format)),
                  mode->format != V4L2_PIX_FMT_MJPEG);
    }
    EXPECT_EQ(nullptr, chooseV4l2Mode(kWebcam, 800, 600, 30));
}

TEST(DeviceOptions, NameWhatIsWantedOfSound) {
    LiveSource source;
    std::string error;
    ASSERT_TRUE(parseLiveSource("alsa:hw:1,0", &source, &error));
    EXPECT_EQ("hw:1,0", source.name);
    EXPECT_TRUE(source.isDevice());
    LiveOptions options;
    options.kind = LiveKind::kSound;
    DeviceOptions result;
    ASSERT_EQ(0, source.scheme->ask(source.name, options, &result));
    EXPECT_STREQ("alsa", source.scheme->device);
    EXPECT_TRUE(result.settings.empty());

    ASSERT_TRUE(parseLiveSource("pulse:alsa_input.usb", &source, &error));
    options.channels = 2;
    options.sampleRate = 44100;
    ASSERT_EQ(0, source.scheme->ask(source.name, options, &result));
    EXPECT_STREQ("pulse", source.scheme->device);
    const std::map<std::string, std::string> wanted = {{"channels", "2"}, {"sample_rate", "44100"}};
    EXPECT_EQ(wanted, result.settings);
}

TEST(LiveSource, TakesWhatHasNoKnownSchemeAsAFile) {
    LiveSource source;
    std::string error;
    for (const char* path : {"clip.mp4", "/a/v4l2:b.ts", "odd:name.mkv", "V4L2:/dev/video0"}) {
        ASSERT_TRUE(parseLiveSource(path, &source, &error));
        EXPECT_STREQ("", source.scheme->prefix) << path;
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
