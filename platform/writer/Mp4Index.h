// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>

#include <vector>

namespace android {

// The index ("moov") of an MP4 file for a place in front of the samples that it was behind: all
// samples lie farther back then by its own size, which may grow, since a place beyond 4 GiB needs
// more room. Empty for bytes that are no index.
std::vector<uint8_t> indexForFront(const std::vector<uint8_t>& index);

}  // namespace android
