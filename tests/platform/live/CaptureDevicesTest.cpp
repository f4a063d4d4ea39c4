// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <dlfcn.h>
#include <linux/videodev2.h>
#include <oxa/host/CaptureDevices.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <filesystem>

#include "camera/CameraAbilities.h"
#include "live/V4l2Modes.h"
#include "support/Test.h"

namespace oxa::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A node that a driver serves is a file here that says which one: "webcam", ...
std::string driverOf(int descriptor) {
    char text[16] = {};
    const ssize_t size = pread(descriptor, text, sizeof(text) - 1, 0);
    return size > 0 ? text : "";
}

int answer(const std::string& driver, v4l2_capability* capability) {
    const bool isOutput = driver == "display";
    const uint32_t whole = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING | V4L2_CAP_DEVICE_CAPS;
    // The second node of a webcam gives its metadata: only the device as a whole captures.
    capability->capabilities = isOutput ? V4L2_CAP_VIDEO_OUTPUT | V4L2_CAP_STREAMING : whole;
    if (driver != "metadata") capability->device_caps = whole & ~V4L2_CAP_DEVICE_CAPS;
    // As long as it may be: no end is behind it.
    memcpy(capability->card, "A very long name of a capture card", sizeof(capability->card));
    return 0;
}

// One size, at rates in no order and one of them twice; false behind the last one.
bool tellMode(unsigned long request, void* argument) {
    constexpr uint32_t kRates[] = {25, 15, 25};
    if (request == VIDIOC_ENUM_FMT) {
        auto* const format = static_cast<v4l2_fmtdesc*>(argument);
        format->pixelformat = V4L2_PIX_FMT_MJPEG;
        return format->index == 0;
    }
    if (request == VIDIOC_ENUM_FRAMESIZES) {
        auto* const size = static_cast<v4l2_frmsizeenum*>(argument);
        size->type = V4L2_FRMSIZE_TYPE_DISCRETE;
        size->discrete = {640, 480};
        return size->index == 0;
    }
    if (request != VIDIOC_ENUM_FRAMEINTERVALS) return false;
    auto* const interval = static_cast<v4l2_frmivalenum*>(argument);
    if (interval->index >= std::size(kRates)) return false;
    interval->type = V4L2_FRMIVAL_TYPE_DISCRETE;
    interval->discrete = {1, kRates[interval->index]};
    return true;
}

int answer(unsigned long request, void* argument, const std::string& driver) {
    if (driver == "webcam" && tellMode(request, argument)) return 0;
    if (request == VIDIOC_QUERYCAP) return answer(driver, static_cast<v4l2_capability*>(argument));
    if (request == VIDIOC_G_INPUT && driver == "grabber") {
        *static_cast<int*>(argument) = 1;
        return 0;
    }
    if (request == VIDIOC_ENUMINPUT && static_cast<v4l2_input*>(argument)->index == 1) {
        static_cast<v4l2_input*>(argument)->capabilities = V4L2_IN_CAP_DV_TIMINGS;
        return 0;
    }
    errno = EINVAL;
    return -1;
}

class CaptureDevicesTest : public testing::Test {
  protected:
    // There is no sound server.
    CaptureDevicesTest() { setenv("PULSE_SERVER", "unix:/nonexistent", 1); }
    ~CaptureDevicesTest() override { unsetenv("PULSE_SERVER"); }

    void add(const std::string& path, const std::string& content) {
        const std::string whole = mRoot.path() + path;
        std::filesystem::create_directories(std::filesystem::path(whole).parent_path());
        ASSERT_TRUE(writeFile(whole, content));
    }

    std::vector<std::string> found() {
        std::vector<std::string> lines;
        for (const host::CaptureDevice& device : host::captureDevices(mRoot.path())) {
            const char* const kKinds[] = {"camera", "receiver", "sound"};
            std::string line = device.source + "|" + kKinds[static_cast<int>(device.kind)] + "|" +
                               device.name + "|" + device.node;
            for (size_t at; (at = line.find(mRoot.path())) != std::string::npos;)
                line.erase(at, mRoot.path().size());
            lines.push_back(line);
        }
        return lines;
    }

    TempDir mRoot;
};

TEST_F(CaptureDevicesTest, areNoneWithoutAny) {
    EXPECT_THAT(found(), IsEmpty());
    add("/proc/asound/cards", "--- no soundcards ---\n");
    add("/proc/asound/pcm", "");
    EXPECT_THAT(found(), IsEmpty());
}

// A node that shows pictures, or gives something else, would be offered and then fail.
TEST_F(CaptureDevicesTest, areNodesThatCapture) {
    add("/dev/video0", "webcam");
    add("/dev/video1", "metadata");
    add("/dev/video2", "display");
    add("/dev/video10", "grabber");
    add("/proc/asound/cards",
        " 0 [PCH            ]: HDA-Intel - HDA Intel PCH\n"
        "                      HDA Intel PCH at 0x603d110000 irq 145\n"
        " 1 [Cam            ]: USB-Audio - A Webcam\n"
        "                      A Webcam at usb-0000:00:14.0-1, high speed\n");
    add("/proc/asound/pcm",
        "00-00: ALC257 Analog : ALC257 Analog : playback 1 : capture 1\n"
        "00-03: HDMI 0 : HDMI 0 : playback 1\n"
        "01-00: USB Audio : USB Audio : capture 1\n");
    EXPECT_THAT(
            found(),
            ElementsAre("v4l2:/dev/video0|camera|A very long name of a capture ca|/dev/video0",
                        "v4l2:/dev/video10|receiver|A very long name of a capture ca|/dev/video10",
                        "alsa:plughw:CARD=PCH,DEV=0|sound|HDA Intel PCH, ALC257 Analog|"
                        "/dev/snd/pcmC0D0c",
                        "alsa:plughw:CARD=Cam,DEV=0|sound|A Webcam, USB Audio|/dev/snd/pcmC1D0c"));
}

TEST_F(CaptureDevicesTest, tellEachOfTheirRatesOnce) {
    add("/dev/video0", "webcam");
    const std::string path = mRoot.path() + "/dev/video0";
    int error = -1;
    const std::vector<android::V4l2Mode> modes = android::v4l2Modes(path, &error);
    ASSERT_EQ(modes.size(), 1u) << error;
    EXPECT_THAT(modes[0].frameRates, ElementsAre(15, 25));
    android::CameraAbilities abilities;
    std::string cause;
    ASSERT_TRUE(android::askCameraAbilities("v4l2:" + path, nullptr, &abilities, &cause, &error))
            << cause;
    EXPECT_EQ(abilities.frameRate, 25);
    EXPECT_THAT(abilities.frameRates, ElementsAre(15, 25));
}

}  // namespace
}  // namespace oxa::test

// In place of the C library's for the whole program: V4L2 requests go to the drivers above.
extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept {
    va_list rest;
    va_start(rest, request);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    if (_IOC_TYPE(request) == 'V') {
        return oxa::test::answer(request, argument, oxa::test::driverOf(descriptor));
    }
    using Ioctl = int (*)(int, unsigned long, void*);
    static const auto systems = reinterpret_cast<Ioctl>(dlsym(RTLD_NEXT, "ioctl"));
    return systems(descriptor, request, argument);
}
