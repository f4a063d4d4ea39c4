// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <graphics/Picture.h>

#include <cstdint>
#include <string>

namespace oxa::test {

// A small grey picture whose brightness tells its number, 0 to 199 and again.
inline std::string numberedPictures(int frameRate, int width = 64, int height = 48) {
    return "nullsrc=size=16x16:rate=" + std::to_string(frameRate) +
           ",format=yuv420p,geq=lum='20+mod(N\\,200)':cb=128:cr=128,scale=" +
           std::to_string(width) + ":" + std::to_string(height) + ":flags=neighbor,setsar=1";
}

inline int numberOf(const android::Picture& picture) {
    const android::PicturePlanes planes = picture.planes();
    return planes.count == 0 ? -1 : planes.planes[0].data[0] - 20;
}

// Sound whose samples tell their time: full scale after ten seconds.
inline std::string timedSound(int sampleRate = 48000) {
    return "aevalsrc=t/10:s=" + std::to_string(sampleRate);
}

inline int64_t timeOfSampleUs(int16_t sample) {
    return static_cast<int64_t>(sample / 32768.0 * 1e7);
}

}  // namespace oxa::test
