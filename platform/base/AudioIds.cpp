// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "base/AudioIds.h"

#include <array>
#include <atomic>

namespace android {

namespace {

// Ids handed out for each use. An id is (its number << kUseBits) | use.
constexpr int kUseBits = 3;
static_assert(1 << kUseBits == AUDIO_UNIQUE_ID_USE_MAX);
std::array<std::atomic<int>, AUDIO_UNIQUE_ID_USE_MAX> gIds;

}  // namespace

audio_unique_id_t newAudioId(audio_unique_id_use_t use) {
    if (use < 0 || use >= AUDIO_UNIQUE_ID_USE_MAX) return AUDIO_UNIQUE_ID_ALLOCATE;
    const int number = ++gIds[use];
    return (number << kUseBits) | use;
}

bool isAudioSession(int id) {
    const int number = id >> kUseBits;
    return (id & AUDIO_UNIQUE_ID_USE_MASK) == AUDIO_UNIQUE_ID_USE_SESSION && number >= 1 &&
           number <= gIds[AUDIO_UNIQUE_ID_USE_SESSION];
}

}  // namespace android
