// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "record/LivePlace.h"

#include <oxa/host/Cameras.h>
#include <oxa/host/Microphones.h>
#include <utils/Mutex.h>

#include <algorithm>
#include <array>

namespace oxa::jobs {

namespace {

// The one of AUDIO_SOURCE_DEFAULT also serves those that have none of their own.
constexpr std::array<audio_source_t, 6> kAudioSources = {AUDIO_SOURCE_DEFAULT,
                                                         AUDIO_SOURCE_MIC,
                                                         AUDIO_SOURCE_CAMCORDER,
                                                         AUDIO_SOURCE_VOICE_RECOGNITION,
                                                         AUDIO_SOURCE_VOICE_COMMUNICATION,
                                                         AUDIO_SOURCE_UNPROCESSED};
// Number 1 always means an HDMI receiver to the player.
constexpr std::array<int, 6> kCameras = {0, 2, 3, 4, 5, 6};

android::Mutex gLock;
std::array<bool, kAudioSources.size()> gTaken GUARDED_BY(gLock);

}  // namespace

bool LivePlace::take() {
    android::Mutex::Autolock lock(gLock);
    const auto free = std::find(gTaken.begin(), gTaken.end(), false);
    if (free == gTaken.end()) return false;
    *free = true;
    mPlace = static_cast<int>(free - gTaken.begin());
    return true;
}

LivePlace::~LivePlace() {
    if (mPlace < 0) return;
    if (mRegistered) host::unregisterCamera(camera());
    android::Mutex::Autolock lock(gLock);
    gTaken[mPlace] = false;
}

void LivePlace::registerCamera(const std::string& source) {
    mRegistered = host::registerCamera(camera(), source);
}

void LivePlace::registerMicrophone(const std::string& source) {
    host::registerMicrophone(audioSource(), source);
}

int LivePlace::camera() const {
    return kCameras[mPlace];
}

audio_source_t LivePlace::audioSource() const {
    return kAudioSources[mPlace];
}

}  // namespace oxa::jobs
