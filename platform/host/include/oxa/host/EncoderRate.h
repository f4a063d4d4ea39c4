// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>

namespace oxa::host {

// What encoders that are configured from now on spend, in the caller's session
// (oxa/host/Session.h). Thread-safe.

// The quality of AVC encoders whose format asks for bit rate 0: 0 (without loss) to 51, smaller is
// better; 23 until set. Returns false and changes nothing for another number.
bool setEncoderQuality(int quality);
int encoderQuality();

// Bits a second of AAC encoders, instead of what their format says; nothing: as it says. What the
// encoder cannot reach or needs less of it brings to its limits.
void setSoundBitRate(std::optional<int32_t> bitsPerSecond);
std::optional<int32_t> soundBitRate();

}  // namespace oxa::host
