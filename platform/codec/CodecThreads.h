// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <algorithm>
#include <cstdint>
#include <thread>

namespace android {

// How many threads work on pictures of this size: the processors, `most` at most. Tiny pictures
// take less time than the threads would need to hand them over.
inline int codecThreads(int32_t width, int32_t height, unsigned most) {
    constexpr int64_t kTinyPoints = int64_t{64} * 64;
    const int64_t points = static_cast<int64_t>(width) * height;
    if (points > 0 && points <= kTinyPoints) return 1;
    return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, most));
}

}  // namespace android
