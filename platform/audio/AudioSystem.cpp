// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <media/AudioSystem.h>

#include "base/AudioIds.h"

namespace android {

audio_unique_id_t AudioSystem::newAudioUniqueId(audio_unique_id_use_t use) {
    return newAudioId(use);
}

audio_hw_sync_t AudioSystem::getAudioHwSyncForSession(audio_session_t sessionId) {
    return isAudioSession(sessionId) ? static_cast<audio_hw_sync_t>(sessionId)
                                     : AUDIO_HW_SYNC_INVALID;
}

}  // namespace android
