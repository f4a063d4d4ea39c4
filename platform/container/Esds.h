// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vector>

namespace android {

// The elementary stream descriptor of MPEG-4 systems, in which metadata and MP4 files keep a
// decoder's configuration.

// A descriptor of 31 bytes and the configuration behind it.
std::vector<uint8_t> makeEsds(const uint8_t* configuration, size_t size);

// The configuration of a descriptor, empty without one.
std::vector<uint8_t> configurationFromEsds(const uint8_t* esds, size_t size);

}  // namespace android
