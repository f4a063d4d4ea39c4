// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

extern "C" {
#include <libavutil/rational.h>
}

namespace android {

// That of all times outside of FFmpeg.
constexpr AVRational kMicroseconds = {1, 1000000};

}  // namespace android
