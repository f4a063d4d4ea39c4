// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "sheet/SheetPicture.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace oxa::jobs {

namespace {

constexpr int kGap = 4;  // around the pictures
constexpr int kBytesPerPixel = 3;
constexpr uint8_t kBackground = 32;
constexpr uint8_t kLabel = 0;
constexpr uint8_t kInk = 255;

// A font of the few letters that a time needs, so that no font has to be installed: 5 pixels wide
// and 7 high, a row a number, its highest bit to the left.
constexpr int kGlyphWidth = 5;
constexpr int kGlyphHeight = 7;
constexpr int kGlyphStep = kGlyphWidth + 1;
constexpr char kLetters[] = "0123456789:.";
constexpr std::array<std::array<uint8_t, kGlyphHeight>, 12> kGlyphs = {{
        {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E},
        {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E},
        {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F},
        {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E},
        {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02},
        {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E},
        {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E},
        {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08},
        {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E},
        {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C},
        {0x00, 0x04, 0x04, 0x00, 0x04, 0x04, 0x00},
        {0x00, 0x00, 0x00, 0x00, 0x00, 0x06, 0x06},
}};

// A multiple of 2, which every picture format can be scaled to.
int even(double value) {
    return std::max(2, 2 * static_cast<int>(std::lround(value / 2)));
}

}  // namespace

std::string sheetTime(int64_t timeUs) {
    char text[32];
    const long long tenths = std::max<int64_t>(0, timeUs) / 100'000;
    const long long seconds = tenths / 10;
    if (seconds >= 3600) {
        snprintf(text, sizeof(text), "%lld:%02lld:%02lld", seconds / 3600, seconds / 60 % 60,
                 seconds % 60);
    } else {
        snprintf(text, sizeof(text), "%lld:%02lld.%lld", seconds / 60, seconds % 60, tenths % 10);
    }
    return text;
}

Size SheetLayout::cellFor(Size picture) const {
    const int cellWidth = (width - kGap * (columns + 1)) / columns / 2 * 2;
    return {cellWidth, even(static_cast<double>(cellWidth) * picture.height / picture.width)};
}

SheetPicture::SheetPicture(const SheetLayout& layout, Size cell)
    : mLayout(layout),
      mCell(cell),
      mSize{layout.width, kGap + layout.rows * (cell.height + kGap)},
      mPixels(static_cast<size_t>(mSize.width) * mSize.height * kBytesPerPixel, kBackground) {}

bool SheetPicture::place(int index, const std::string& pngPath, int64_t timeUs) {
    // What does not divide evenly is left to both sides.
    const int used = mLayout.columns * (mCell.width + kGap) - kGap;
    const int left = (mSize.width - used) / 2 + index % mLayout.columns * (mCell.width + kGap);
    const int top = kGap + index / mLayout.columns * (mCell.height + kGap);
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, pngPath.c_str())) return false;
    image.format = PNG_FORMAT_RGB;
    const bool fits = static_cast<int>(image.width) == mCell.width &&
                      static_cast<int>(image.height) == mCell.height;
    uint8_t* corner = &mPixels[(static_cast<size_t>(top) * mSize.width + left) * kBytesPerPixel];
    const bool read = fits && png_image_finish_read(&image, nullptr, corner,
                                                    mSize.width * kBytesPerPixel, nullptr) != 0;
    png_image_free(&image);
    if (read) writeTime(left, top + mCell.height, sheetTime(timeUs));
    return read;
}

void SheetPicture::fill(int left, int top, int width, int height, uint8_t grey) {
    for (int y = top; y < top + height; ++y) {
        memset(&mPixels[(static_cast<size_t>(y) * mSize.width + left) * kBytesPerPixel], grey,
               static_cast<size_t>(width) * kBytesPerPixel);
    }
}

// Into the lower left corner, as large as is easy to read; not at all where there is no room.
void SheetPicture::writeTime(int left, int bottom, const std::string& text) {
    const int length = static_cast<int>(text.size());
    const int scale = std::max(1, (std::min(mCell.width, mCell.height) + 40) / 80);
    const int width = (length * kGlyphStep + 1) * scale;
    const int height = (kGlyphHeight + 2) * scale;
    if (width > mCell.width || height > mCell.height) return;
    const int top = bottom - height;
    fill(left, top, width, height, kLabel);
    for (int i = 0; i < length; ++i) {
        const auto& glyph = kGlyphs[strchr(kLetters, text[i]) - kLetters];
        for (int y = 0; y < kGlyphHeight; ++y) {
            for (int x = 0; x < kGlyphWidth; ++x) {
                if ((glyph[y] >> (kGlyphWidth - 1 - x) & 1) == 0) continue;
                fill(left + (1 + i * kGlyphStep + x) * scale, top + (1 + y) * scale, scale, scale,
                     kInk);
            }
        }
    }
}

std::vector<uint8_t> SheetPicture::encode() const {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = mSize.width;
    image.height = mSize.height;
    image.format = PNG_FORMAT_RGB;
    png_alloc_size_t size = 0;
    std::vector<uint8_t> png;
    if (!png_image_write_to_memory(&image, nullptr, &size, 0, mPixels.data(), 0, nullptr)) {
        return {};
    }
    png.resize(size);
    if (!png_image_write_to_memory(&image, png.data(), &size, 0, mPixels.data(), 0, nullptr)) {
        return {};
    }
    png.resize(size);
    return png;
}

}  // namespace oxa::jobs
