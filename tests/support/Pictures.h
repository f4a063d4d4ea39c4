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

// All pictures of the first video stream, scaled (bicubic) if a size is given; empty when there is
// none.
std::vector<Image> decodePictures(const std::string& path, int width = 0, int height = 0);

// Of two planes; those of different sizes have nothing in common. And the PSNR of such an error in
// dB, at most kEqualPsnr.
constexpr double kEqualPsnr = 100;
double meanSquareError(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b);
double psnrOf(double error);

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
