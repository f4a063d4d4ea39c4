// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <system/audio-base.h>

enum : int32_t {
    // The last source that applications may ask for.
    AUDIO_SOURCE_MAX = AUDIO_SOURCE_VOICE_PERFORMANCE,
};
