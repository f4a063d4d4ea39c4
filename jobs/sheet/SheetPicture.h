// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "oxa/jobs/EncodeOptions.h"

namespace oxa::jobs {

struct SheetLayout {
    int columns = 4;
    int rows = 4;
    int width = 1280;  // of the whole sheet, in pixels

    int cells() const { return columns * rows; }
    // The place of one picture; `picture` gives the shape.
    Size cellFor(Size picture) const;
};

// A grid of pictures, each with its time in a corner.
class SheetPicture {
  public:
    // `cell` is layout.cellFor() of what is placed.
    SheetPicture(const SheetLayout& layout, Size cell);

    Size size() const { return mSize; }

    // Copies a PNG file of the cell's size into cell `index`, counted by rows. False when it cannot
    // be read.
    bool place(int index, const std::string& pngPath, int64_t timeUs);
    // The sheet as a PNG; empty when there is no memory for it.
    std::vector<uint8_t> encode() const;

  private:
    void fill(int left, int top, int width, int height, uint8_t grey);
    void writeTime(int left, int bottom, const std::string& text);

    const SheetLayout mLayout;
    const Size mCell;
    const Size mSize;
    std::vector<uint8_t> mPixels;  // RGB, without padding
};

// "0:07.5", from an hour on "1:02:03".
std::string sheetTime(int64_t timeUs);

}  // namespace oxa::jobs
