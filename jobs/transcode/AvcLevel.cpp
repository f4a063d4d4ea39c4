// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "transcode/AvcLevel.h"

#include <algorithm>
#include <array>

namespace oxa::jobs {

namespace {

constexpr int32_t kBlockSide = 16;
constexpr std::array<AvcLevel, 16> kLevels = {{{10, 0x1, 1485, 99, 64},
                                               {11, 0x4, 3000, 396, 192},
                                               {12, 0x8, 6000, 396, 384},
                                               {13, 0x10, 11880, 396, 768},
                                               {20, 0x20, 11880, 396, 2000},
                                               {21, 0x40, 19800, 792, 4000},
                                               {22, 0x80, 20250, 1620, 4000},
                                               {30, 0x100, 40500, 1620, 10000},
                                               {31, 0x200, 108000, 3600, 14000},
                                               {32, 0x400, 216000, 5120, 20000},
                                               {40, 0x800, 245760, 8192, 20000},
                                               {41, 0x1000, 245760, 8192, 50000},
                                               {42, 0x2000, 522240, 8704, 50000},
                                               {50, 0x4000, 589824, 22080, 135000},
                                               {51, 0x8000, 983040, 36864, 240000},
                                               {52, 0x10000, 2073600, 36864, 240000}}};

int64_t blocksOf(int32_t side) {
    return (side + kBlockSide - 1) / kBlockSide;
}

// Neither side may be longer than that of eight squares of the largest picture.
bool hasRoom(const AvcLevel& level, int64_t columns, int64_t rows) {
    const int64_t longest = std::max(columns, rows);
    return columns * rows <= level.blocks && longest * longest <= 8 * int64_t{level.blocks};
}

}  // namespace

const AvcLevel* findLevel(int32_t tenths) {
    const auto* const level = std::find_if(kLevels.begin(), kLevels.end(),
                                           [=](const AvcLevel& l) { return l.tenths == tenths; });
    return level == kLevels.end() ? nullptr : level;
}

const AvcLevel* lowestLevel(Size size, double picturesPerSecond, int32_t bitsPerSecond,
                            bool isHigh) {
    const int64_t columns = blocksOf(size.width);
    const int64_t rows = blocksOf(size.height);
    const double blocksPerSecond = picturesPerSecond * static_cast<double>(columns * rows);
    const auto* const level = std::find_if(kLevels.begin(), kLevels.end(), [&](const AvcLevel& l) {
        const int64_t bits = int64_t{l.kilobitsPerSecond} * (isHigh ? 1250 : 1000);
        return hasRoom(l, columns, rows) && blocksPerSecond <= l.blocksPerSecond &&
               bitsPerSecond <= bits;
    });
    return level == kLevels.end() ? nullptr : level;
}

std::string levelText(int32_t tenths) {
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

}  // namespace oxa::jobs
