// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/SyncMeasure.h"

#include <algorithm>
#include <cmath>

#include "support/Pictures.h"
#include "support/Sound.h"

namespace oxa::test {

namespace {

constexpr double kMaxOffsetMs = 500;

std::vector<double> findFlashes(const std::string& path) {
    constexpr double kBright = 160;
    constexpr double kDark = 80;
    std::vector<double> flashes;
    bool dark = false;
    for (const Image& image : decodePictures(path, 32, 32)) {
        const double luma = meanColour(image).y;
        if (luma < kDark) dark = true;
        if (!dark || luma < kBright) continue;
        dark = false;
        flashes.push_back(static_cast<double>(image.timeUs) / 1000);
    }
    return flashes;
}

std::vector<double> findBeeps(const std::string& path) {
    const Sound sound = decodeSound(path);
    std::vector<double> beeps;
    if (sound.empty()) return beeps;
    for (double position : beepPositions(sound.channel(0), sound.sampleRate))
        beeps.push_back(sound.timeUs(position) / 1000);
    return beeps;
}

}  // namespace

double SyncMeasure::largestMs() const {
    double largest = 0;
    for (double offset : offsetsMs) {
        if (std::abs(offset) > std::abs(largest)) largest = offset;
    }
    return largest;
}

SyncMeasure measureSync(const std::string& path) {
    SyncMeasure measure;
    measure.flashesMs = findFlashes(path);
    measure.beepsMs = findBeeps(path);
    for (double flash : measure.flashesMs) {
        const auto nearest = std::min_element(
                measure.beepsMs.begin(), measure.beepsMs.end(),
                [flash](double a, double b) { return std::abs(a - flash) < std::abs(b - flash); });
        if (nearest == measure.beepsMs.end() || std::abs(*nearest - flash) > kMaxOffsetMs) continue;
        measure.offsetsMs.push_back(*nearest - flash);
    }
    return measure;
}

}  // namespace oxa::test
