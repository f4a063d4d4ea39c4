// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace oxa::host {

// The speed preset of AVC encoders that are configured from now on, in this session; "veryfast"
// until set. Returns false and changes nothing for a name that the encoder does not know
// (ultrafast, superfast, veryfast, faster, fast, medium, slow, slower, veryslow, placebo).
// Thread-safe.
bool setEncoderPreset(const std::string& preset);
std::string encoderPreset();

}  // namespace oxa::host
