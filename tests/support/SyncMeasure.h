// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

namespace oxa::test {

// How far sound and picture of a file are apart, measured on white flashes in a dark picture and
// beeps that begin at the same instants.
struct SyncMeasure {
    std::vector<double> flashesMs;  // the times at which the picture turns bright
    std::vector<double> beepsMs;    // the times at which the tone begins
    // For each flash that has a beep within half a second: beep minus flash, positive when the
    // sound is late. A flash counts from the first picture that shows it.
    std::vector<double> offsetsMs;

    // The one farthest from zero, with its sign. Zero without a pair: check their number as well.
    double largestMs() const;
};

SyncMeasure measureSync(const std::string& path);

}  // namespace oxa::test
