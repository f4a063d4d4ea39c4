// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace oxa::test {

// One decoded picture, 8 bits, 4:2:0, planes without padding.
struct Image {
    int width = 0;
    int height = 0;
    int64_t timeUs = 0;  // relative to the file's start
    std::array<std::vector<uint8_t>, 3> planes;

    int planeWidth(int plane) const { return plane == 0 ? width : (width + 1) / 2; }
    int planeHeight(int plane) const { return plane == 0 ? height : (height + 1) / 2; }
};

struct PictureOptions {
    int width = 0;  // 0: as they are; else scaled (bicubic)
    int height = 0;
    int maxCount = -1;  // -1: all
    std::string
            filter;  // a libavfilter chain that comes before the scaling, e.g. "transpose=clock"
};

// All pictures of the first video stream; empty when there is none.
std::vector<Image> decodePictures(const std::string& path, const PictureOptions& options = {});

struct Psnr {
    double y = 0;
    double u = 0;
    double v = 0;
};

// dB; equal pictures give kEqualPsnr. They must have one size.
constexpr double kEqualPsnr = 100;
Psnr psnr(const Image& a, const Image& b);

struct PsnrResult {
    size_t countA = 0;
    size_t countB = 0;
    Psnr mean;  // over the pictures that both have, -1 when none could be compared
    double lowestY = -1;
    size_t lowestAt = 0;
};

// Compares picture by picture, in order. Those of `b` are scaled to the size of `a`'s if need be.
PsnrResult comparePictures(const std::string& a, const std::string& b,
                           const PictureOptions& options = {});

struct Colour {
    double y = 0;
    double u = 0;
    double v = 0;
};

// The mean of a region, in luma pixels; it is clipped to the picture.
Colour meanColour(const Image& image, int x, int y, int width, int height);
inline Colour meanColour(const Image& image) {
    return meanColour(image, 0, 0, image.width, image.height);
}

}  // namespace oxa::test
