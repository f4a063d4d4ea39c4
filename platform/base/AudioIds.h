// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <system/audio.h>

namespace android {

// The numbers that this process gives to its sessions, tracks and records. Thread-safe.

// A positive one that was never handed out before; AUDIO_UNIQUE_ID_ALLOCATE (0) for an unknown use.
audio_unique_id_t newAudioId(audio_unique_id_use_t use);

// Whether it was handed out for a session.
bool isAudioSession(int id);

}  // namespace android
