// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "V4l2Modes"

#include "live/V4l2Modes.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/videodev2.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace android {

namespace {

constexpr int kMaxDeviceNumber = 63;

struct NamedFormat {
    const char* name;
    uint32_t format;
    bool compressed;
};

// In the order of preference.
constexpr NamedFormat kFormats[] = {
        {"yuv420p", V4L2_PIX_FMT_YUV420, false},  {"nv12", V4L2_PIX_FMT_NV12, false},
        {"yuyv422", V4L2_PIX_FMT_YUYV, false},    {"uyvy422", V4L2_PIX_FMT_UYVY, false},
        {"yuv422p", V4L2_PIX_FMT_YUV422P, false}, {"rgb24", V4L2_PIX_FMT_RGB24, false},
        {"bgr24", V4L2_PIX_FMT_BGR24, false},     {"mjpeg", V4L2_PIX_FMT_MJPEG, true},
        {"mjpeg", V4L2_PIX_FMT_JPEG, true},
};

// For drivers that offer any size between two: what people ask for.
constexpr std::pair<int, int> kUsualSizes[] = {
        {320, 240}, {640, 360}, {640, 480}, {1280, 720}, {1920, 1080}, {3840, 2160},
};

const NamedFormat* find(uint32_t format) {
    for (const NamedFormat& known : kFormats) {
        if (known.format == format) return &known;
    }
    return nullptr;
}

class Device {
  public:
    explicit Device(const std::string& path) : mFd(open(path.c_str(), O_RDWR | O_CLOEXEC)) {}
    ~Device() {
        if (mFd >= 0) close(mFd);
    }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    bool isOpen() const { return mFd >= 0; }
    bool ask(unsigned long request, void* argument) const {
        int result;
        do {
            result = ioctl(mFd, request, argument);
        } while (result < 0 && errno == EINTR);
        return result >= 0;
    }

    // `name` becomes what the driver calls it.
    bool captures(std::string* name = nullptr) const {
        v4l2_capability capability = {};
        if (!ask(VIDIOC_QUERYCAP, &capability)) return false;
        if (name != nullptr) {
            const char* const card = reinterpret_cast<const char*>(capability.card);
            name->assign(card, strnlen(card, sizeof(capability.card)));
        }
        const uint32_t abilities = capability.capabilities & V4L2_CAP_DEVICE_CAPS
                                           ? capability.device_caps
                                           : capability.capabilities;
        return (abilities & V4L2_CAP_VIDEO_CAPTURE) != 0 && (abilities & V4L2_CAP_STREAMING) != 0;
    }

    bool hasTimings() const {
        int index = 0;
        if (!ask(VIDIOC_G_INPUT, &index)) return false;
        v4l2_input input = {};
        input.index = static_cast<uint32_t>(index);
        return ask(VIDIOC_ENUMINPUT, &input) && (input.capabilities & V4L2_IN_CAP_DV_TIMINGS) != 0;
    }

  private:
    const int mFd;
};

std::vector<int> frameRates(const Device& device, uint32_t format, int width, int height) {
    std::vector<int> rates;
    v4l2_frmivalenum interval = {};
    interval.pixel_format = format;
    interval.width = static_cast<uint32_t>(width);
    interval.height = static_cast<uint32_t>(height);
    for (; device.ask(VIDIOC_ENUM_FRAMEINTERVALS, &interval); ++interval.index) {
        const bool isDiscrete = interval.type == V4L2_FRMIVAL_TYPE_DISCRETE;
        const v4l2_fract& shortest = isDiscrete ? interval.discrete : interval.stepwise.min;
        if (shortest.numerator != 0) {
            rates.push_back(static_cast<int>(
                    std::lround(static_cast<double>(shortest.denominator) / shortest.numerator)));
        }
        if (!isDiscrete) break;
    }
    std::sort(rates.begin(), rates.end());
    rates.erase(std::unique(rates.begin(), rates.end()), rates.end());
    return rates;
}

void addMode(const Device& device, uint32_t format, int width, int height,
             std::vector<V4l2Mode>* modes) {
    modes->push_back({format, width, height, frameRates(device, format, width, height)});
}

void addSizes(const Device& device, uint32_t format, std::vector<V4l2Mode>* modes) {
    v4l2_frmsizeenum size = {};
    size.pixel_format = format;
    for (; device.ask(VIDIOC_ENUM_FRAMESIZES, &size); ++size.index) {
        if (size.type == V4L2_FRMSIZE_TYPE_DISCRETE) {
            addMode(device, format, static_cast<int>(size.discrete.width),
                    static_cast<int>(size.discrete.height), modes);
            continue;
        }
        for (const auto& [width, height] : kUsualSizes) {
            const v4l2_frmsize_stepwise& range = size.stepwise;
            const auto w = static_cast<uint32_t>(width);
            const auto h = static_cast<uint32_t>(height);
            if (w >= range.min_width && w <= range.max_width && h >= range.min_height &&
                h <= range.max_height) {
                addMode(device, format, width, height, modes);
            }
        }
        break;
    }
}

bool reaches(const V4l2Mode& mode, int rate) {
    return rate > 0 && mode.highestRate() >= rate;
}

bool isBetter(const V4l2Mode& a, const V4l2Mode& b, int rate) {
    if (reaches(a, rate) != reaches(b, rate)) return reaches(a, rate);
    if (!reaches(a, rate) && a.highestRate() != b.highestRate()) {
        return a.highestRate() > b.highestRate();
    }
    return find(a.format) < find(b.format);
}

}  // namespace

std::vector<V4l2Mode> v4l2Modes(const std::string& path, int* error) {
    std::vector<V4l2Mode> modes;
    const Device device(path);
    *error = device.isOpen() ? 0 : errno;
    if (!device.isOpen()) return modes;
    if (!device.captures()) {
        *error = ENODEV;
        return modes;
    }
    v4l2_fmtdesc format = {};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    for (; device.ask(VIDIOC_ENUM_FMT, &format); ++format.index) {
        if (find(format.pixelformat) != nullptr) addSizes(device, format.pixelformat, &modes);
    }
    if (modes.empty()) *error = EINVAL;
    return modes;
}

const V4l2Mode* chooseV4l2Mode(const std::vector<V4l2Mode>& modes, int width, int height,
                               int rate) {
    if (width == 0) {
        for (const V4l2Mode& mode : modes) {
            if (static_cast<int64_t>(mode.width) * mode.height <=
                static_cast<int64_t>(width) * height) {
                continue;
            }
            width = mode.width;
            height = mode.height;
        }
    }
    const V4l2Mode* best = nullptr;
    for (const V4l2Mode& mode : modes) {
        if (mode.width != width || mode.height != height) continue;
        if (best == nullptr || isBetter(mode, *best, rate)) best = &mode;
    }
    return best;
}

const char* v4l2FormatName(uint32_t format) {
    const NamedFormat* const known = find(format);
    return known == nullptr ? nullptr : known->name;
}

std::vector<V4l2Device> v4l2CaptureDevices(const std::string& root) {
    std::vector<V4l2Device> devices;
    for (int number = 0; number <= kMaxDeviceNumber; ++number) {
        V4l2Device found;
        found.path = root + "/dev/video" + std::to_string(number);
        if (access(found.path.c_str(), F_OK) != 0) continue;
        const Device device(found.path);
        if (!device.isOpen() || !device.captures(&found.name)) continue;
        found.isReceiver = device.hasTimings();
        devices.push_back(found);
    }
    return devices;
}

}  // namespace android
