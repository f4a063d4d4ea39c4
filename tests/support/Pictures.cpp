// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/Pictures.h"

#include <algorithm>
#include <cmath>

#include "support/MediaReader.h"

extern "C" {
#include <libswscale/swscale.h>
}

namespace oxa::test {

namespace {

Image copyImage(const AVFrame& frame, int64_t timeUs) {
    Image image;
    image.width = frame.width;
    image.height = frame.height;
    image.timeUs = timeUs;
    for (int plane = 0; plane < 3; ++plane) {
        const int width = image.planeWidth(plane);
        for (int row = 0; row < image.planeHeight(plane); ++row) {
            const uint8_t* line = frame.data[plane] + row * frame.linesize[plane];
            image.planes[plane].insert(image.planes[plane].end(), line, line + width);
        }
    }
    return image;
}

}  // namespace

std::vector<Image> decodePictures(const std::string& path, int width, int height) {
    std::vector<Image> images;
    MediaReader reader(path);
    const int stream = reader.findStream(AVMEDIA_TYPE_VIDEO);
    if (stream < 0) return images;
    SwsContext* scaler = nullptr;
    reader.decode({stream}, [&](int, const AVFrame& frame, int64_t timeUs) {
        const FramePtr scaled(av_frame_alloc());
        scaled->width = width > 0 ? width : frame.width;
        scaled->height = height > 0 ? height : frame.height;
        scaled->format = AV_PIX_FMT_YUV420P;
        scaler = sws_getCachedContext(scaler, frame.width, frame.height,
                                      static_cast<AVPixelFormat>(frame.format), scaled->width,
                                      scaled->height, AV_PIX_FMT_YUV420P, SWS_BICUBIC, nullptr,
                                      nullptr, nullptr);
        if (scaler == nullptr || sws_scale_frame(scaler, scaled.get(), &frame) < 0) return;
        images.push_back(copyImage(*scaled, timeUs));
    });
    sws_freeContext(scaler);
    return images;
}

double meanSquareError(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    if (a.size() != b.size()) return 255.0 * 255.0;
    double sum = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        const double difference = static_cast<double>(a[i]) - b[i];
        sum += difference * difference;
    }
    return sum / static_cast<double>(a.size());
}

double psnrOf(double error) {
    return error == 0 ? kEqualPsnr : std::min(kEqualPsnr, 10 * std::log10(255.0 * 255.0 / error));
}

Colour meanColour(const Image& image, int x, int y, int width, int height) {
    std::array<double, 3> means = {};
    for (int plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        const int left = std::clamp(x >> shift, 0, image.planeWidth(plane));
        const int right = std::clamp((x + width + shift) >> shift, left, image.planeWidth(plane));
        const int top = std::clamp(y >> shift, 0, image.planeHeight(plane));
        const int bottom = std::clamp((y + height + shift) >> shift, top, image.planeHeight(plane));
        double sum = 0;
        for (int row = top; row < bottom; ++row) {
            for (int column = left; column < right; ++column) {
                sum += image.planes[plane][row * image.planeWidth(plane) + column];
            }
        }
        const int count = (right - left) * (bottom - top);
        means[plane] = count > 0 ? sum / count : 0;
    }
    return {means[0], means[1], means[2]};
}

}  // namespace oxa::test
