// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "codec/CodecThreads.h"

#include <oxa/host/CodecThreads.h>

#include <algorithm>
#include <thread>

#include "base/SessionState.h"

namespace oxa::host {

namespace {

SessionValue<unsigned> gMost(0);

}  // namespace

void setMostCodecThreads(unsigned threads) {
    gMost.set(threads);
}

unsigned mostCodecThreads() {
    return gMost.get();
}

}  // namespace oxa::host

namespace android {

int codecThreads(int32_t width, int32_t height, unsigned most) {
    constexpr int64_t kTinyPoints = int64_t{64} * 64;
    const int64_t points = static_cast<int64_t>(width) * height;
    if (points > 0 && points <= kTinyPoints) return 1;
    const unsigned limit = oxa::host::mostCodecThreads();
    if (limit > 0) most = std::min(most, limit);
    return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, most));
}

}  // namespace android
