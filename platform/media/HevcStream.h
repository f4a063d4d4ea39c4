// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vector>

namespace android {

// For H.265: the decoder configuration record ("hvcC") that MP4 files keep parameter sets in.

// Annex B parameter sets as a configuration record with 4-byte lengths; empty when one of the three
// kinds is missing or cannot be read.
std::vector<uint8_t> makeHevcConfiguration(const uint8_t* annexB, size_t size);

// The units of a configuration record of any version, each behind a 4-byte start code; empty when
// it ends too early.
std::vector<uint8_t> annexBFromHevcConfiguration(const uint8_t* record, size_t size);

}  // namespace android
