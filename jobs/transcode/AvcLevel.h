// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>

#include "oxa/jobs/EncodeOptions.h"

namespace oxa::jobs {

// What a level of AVC has room for (ITU-T H.264, table A-1).
struct AvcLevel {
    int32_t tenths;  // 31 for 3.1
    int32_t platformNumber;
    int32_t blocksPerSecond;    // of 16x16
    int32_t blocks;             // of a picture
    int32_t kilobitsPerSecond;  // of Baseline and Main; High has a quarter more
};

// Null for a level that there is not.
const AvcLevel* findLevel(int32_t tenths);

// The lowest one for pictures like these; a rate that is 0 needs nothing. Null when none is enough.
const AvcLevel* lowestLevel(Size size, double picturesPerSecond, int32_t bitsPerSecond,
                            bool isHigh);

std::string levelText(int32_t tenths);  // "3.1"

}  // namespace oxa::jobs
