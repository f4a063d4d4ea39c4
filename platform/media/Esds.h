// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vector>

namespace android {

// The elementary stream descriptor of MPEG-4 systems, in which metadata and MP4 files keep a
// decoder's configuration.

// A descriptor of 31 bytes and the configuration behind it. What it says besides is Android's fixed
// text of a sound stream of 64 kbit/s, which whoever writes a file fills in anew.
std::vector<uint8_t> makeEsds(const uint8_t* configuration, size_t size);

// Bits a second; 0: not told.
struct EsdsBitRates {
    uint32_t maximum = 0;
    uint32_t average = 0;
};

// The configuration of a descriptor, empty without one, and what it says of the bit rates.
std::vector<uint8_t> configurationFromEsds(const uint8_t* esds, size_t size,
                                           EsdsBitRates* rates = nullptr);

}  // namespace android
