// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>

namespace oxa::host {

// How long the AVC encoder of a live source takes for a picture of that size with a preset
// (oxa/host/EncoderPreset.h) and the session's quality when it has its processors for itself: the
// time that a thread works on it, shared by those that it would have; the least of pictures with
// detail and movement, in microseconds. 0 when no picture was encoded. What else the computer and
// this process do does not count. Encodes at least three pictures, smaller ones in place of those
// above 960x540, then as many as `budgetUs` of the clock have time for; the caller waits. Any
// thread.
int64_t measureEncoder(int32_t width, int32_t height, const std::string& preset, int64_t budgetUs);

}  // namespace oxa::host
