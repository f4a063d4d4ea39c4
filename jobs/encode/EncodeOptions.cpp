// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "oxa/jobs/EncodeOptions.h"

#include <algorithm>
#include <array>

namespace oxa::jobs {

namespace {

constexpr std::array<int32_t, 12> kAacSampleRates = {8000,  11025, 12000, 16000, 22050, 24000,
                                                     32000, 44100, 48000, 64000, 88200, 96000};

}  // namespace

bool isAacSampleRate(int32_t sampleRate) {
    return std::find(kAacSampleRates.begin(), kAacSampleRates.end(), sampleRate) !=
           kAacSampleRates.end();
}

}  // namespace oxa::jobs
