// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "media/ColorAspects.h"

#include <media/stagefright/foundation/AMessage.h>

#include <algorithm>
#include <iterator>

namespace android {

namespace {

struct Standard {
    int32_t standard;
    int32_t primaries;
    int32_t matrix;
};
constexpr Standard kStandards[] = {
        {0, 0, 0},  // not told
        {1, 1, 1},  // BT.709
        {2, 3, 3},  // BT.601, 625 lines
        {3, 3, 1},  // the same, unadjusted
        {4, 4, 3},  // BT.601, 525 lines
        {5, 4, 4},  // the same, unadjusted
        {6, 6, 5},  // BT.2020
        {7, 6, 6},  // the same, constant luminance
        {8, 2, 2},  // BT.470 M
        {9, 5, 5},  // film
};

bool isRange(int32_t range) {
    return range >= 0 && range <= 2;
}

// The same numbers on both sides: none to HLG, and four rare ones.
bool isTransfer(int32_t transfer) {
    return (transfer >= 0 && transfer <= 7) || (transfer >= 0x40 && transfer <= 0x43);
}

}  // namespace

void convertColors(const sp<AMessage>& from, const sp<MetaData>& to) {
    int32_t range = 0;
    int32_t standard = 0;
    int32_t transfer = 0;
    from->findInt32("color-range", &range);
    from->findInt32("color-standard", &standard);
    from->findInt32("color-transfer", &transfer);
    const auto* const known =
            std::find_if(std::begin(kStandards), std::end(kStandards),
                         [&](const Standard& s) { return s.standard == standard; });
    if (known == std::end(kStandards) || !isRange(range) || !isTransfer(transfer)) return;
    if (range != 0) to->setInt32(kKeyColorRange, range);
    if (known->primaries != 0) to->setInt32(kKeyColorPrimaries, known->primaries);
    if (transfer != 0) to->setInt32(kKeyTransferFunction, transfer);
    if (known->matrix != 0) to->setInt32(kKeyColorMatrix, known->matrix);
}

void convertColors(const MetaDataBase& from, const sp<AMessage>& to) {
    int32_t range = 0;
    int32_t primaries = 0;
    int32_t transfer = 0;
    int32_t matrix = 0;
    from.findInt32(kKeyColorRange, &range);
    from.findInt32(kKeyColorPrimaries, &primaries);
    from.findInt32(kKeyTransferFunction, &transfer);
    from.findInt32(kKeyColorMatrix, &matrix);
    const auto* const known = std::find_if(
            std::begin(kStandards), std::end(kStandards),
            [&](const Standard& s) { return s.primaries == primaries && s.matrix == matrix; });
    if (known == std::end(kStandards) || !isRange(range) || !isTransfer(transfer)) return;
    if (range != 0) to->setInt32("color-range", range);
    if (known->standard != 0) to->setInt32("color-standard", known->standard);
    if (transfer != 0) to->setInt32("color-transfer", transfer);
}

}  // namespace android
