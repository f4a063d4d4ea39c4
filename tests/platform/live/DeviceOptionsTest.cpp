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
TEST(DeviceOptions, areUncompressedPicturesIfTheseAreFastEnough) {
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
        ASSERT_NE(mode, nullptr);
        EXPECT_EQ(mode->format, c.format);
        EXPECT_EQ(mode->width, c.width == 0 ? 1920 : c.width);
        EXPECT_NE(AV_PIX_FMT_NONE == av_get_pix_fmt(v4l2FormatName(mode->format)),
                  mode->format != V4L2_PIX_FMT_MJPEG);
    }
    EXPECT_EQ(chooseV4l2Mode(kWebcam, 800, 600, 30), nullptr);
}

TEST(DeviceOptions, nameWhatIsWantedOfSound) {
    LiveSource source;
    std::string error;
    ASSERT_TRUE(parseLiveSource("alsa:hw:1,0", &source, &error));
    EXPECT_EQ(source.name, "hw:1,0");
    EXPECT_TRUE(source.isDevice());
    LiveOptions options;
    options.kind = LiveKind::kSound;
    DeviceOptions result;
    ASSERT_EQ(source.scheme->ask(source.name, options, &result), 0);
    EXPECT_STREQ(source.scheme->device, "alsa");
    EXPECT_TRUE(result.settings.empty());

    ASSERT_TRUE(parseLiveSource("pulse:alsa_input.usb", &source, &error));
    options.channels = 2;
    options.sampleRate = 44100;
    ASSERT_EQ(source.scheme->ask(source.name, options, &result), 0);
    EXPECT_STREQ(source.scheme->device, "pulse");
    const std::map<std::string, std::string> wanted = {{"channels", "2"}, {"sample_rate", "44100"}};
    EXPECT_EQ(result.settings, wanted);
}

TEST(LiveSource, takesWhatHasNoKnownSchemeAsAFile) {
    LiveSource source;
    std::string error;
    ASSERT_TRUE(parseLiveSource("v4l2:/dev/video0", &source, &error));
    EXPECT_TRUE(source.isDevice());
    EXPECT_TRUE(source.scheme->tellsModes);
    for (const char* path : {"clip.mp4", "/a/v4l2:b.ts", "odd:name.mkv", "V4L2:/dev/video0"}) {
        ASSERT_TRUE(parseLiveSource(path, &source, &error));
        EXPECT_STREQ(source.scheme->prefix, "") << path;
        EXPECT_EQ(path, source.name);
        EXPECT_FALSE(source.isDevice());
    }
}

// Sound cards stamp on the wall clock and cameras on the monotonic one; taking one for the other
// puts sound years away from its picture.
TEST(DeviceOptions, bringStampsToTheMonotonicClock) {
    constexpr int64_t kNowUs = 5000000000;
    constexpr int64_t kWallUs = 1700000000000000;
    EXPECT_EQ(monotonicTimeOf(kNowUs - 20000, kNowUs, kWallUs), kNowUs - 20000);
    EXPECT_EQ(monotonicTimeOf(kWallUs + kNowUs - 20000, kNowUs, kWallUs), kNowUs - 20000);
    EXPECT_EQ(monotonicTimeOf(123, kNowUs, kWallUs), kNowUs);
    EXPECT_EQ(monotonicTimeOf(AV_NOPTS_VALUE, kNowUs, kWallUs), kNowUs);
}

}  // namespace
}  // namespace oxa::test
