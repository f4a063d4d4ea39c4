// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/Microphones.h>
#include <system/audio.h>

#include <map>

#include "audio/MicrophoneTable.h"
#include "base/AnnotatedMutex.h"
#include "live/LiveReader.h"

namespace android {

namespace {

constexpr char kSystemMicrophone[] = "alsa:default";

AnnotatedMutex gLock;
auto& gMicrophones GUARDED_BY(gLock) = *new std::map<int, sp<Microphone>>;

// Null when the audio source has none of its own.
sp<Microphone> registered(int audioSource) {
    AnnotatedLock lock(gLock);
    const auto found = gMicrophones.find(audioSource);
    return found == gMicrophones.end() ? nullptr : found->second;
}

}  // namespace

sp<Microphone> microphoneOf(int audioSource) {
    sp<Microphone> microphone = registered(audioSource);
    if (microphone == nullptr) microphone = registered(AUDIO_SOURCE_DEFAULT);
    if (microphone == nullptr) {
        microphone = new Microphone;
        microphone->source = kSystemMicrophone;
    }
    return microphone;
}

}  // namespace android

namespace oxa::host {

using android::AnnotatedLock;
using android::Microphone;
using android::sp;

bool registerMicrophone(int audioSource, const std::string& source,
                        const MicrophoneOptions& options) {
    if (audioSource < AUDIO_SOURCE_DEFAULT || audioSource > AUDIO_SOURCE_MAX || source.empty()) {
        return false;
    }
    sp<Microphone> microphone = new Microphone;
    microphone->source = source;
    microphone->repeat = options.repeat;
    AnnotatedLock lock(android::gLock);
    android::gMicrophones[audioSource] = microphone;
    return true;
}

void clearMicrophones() {
    AnnotatedLock lock(android::gLock);
    android::gMicrophones.clear();
}

std::string microphoneSource(int audioSource) {
    return android::microphoneOf(audioSource)->source;
}

std::string microphoneSourceError(const std::string& source) {
    return android::LiveReader::soundError(source);
}

MicrophoneFigures microphoneFigures(int audioSource) {
    MicrophoneFigures figures;
    const sp<Microphone> microphone = android::registered(audioSource);
    if (microphone == nullptr) return figures;
    figures.captured = microphone->captured;
    figures.dropped = microphone->dropped;
    figures.peak = microphone->level.peak();
    return figures;
}

bool stallMicrophone(int audioSource, bool stalled) {
    const sp<Microphone> microphone = android::registered(audioSource);
    if (microphone == nullptr) return false;
    microphone->control->setStalled(stalled);
    return true;
}

bool loseMicrophone(int audioSource, bool lost) {
    const sp<Microphone> microphone = android::registered(audioSource);
    if (microphone == nullptr) return false;
    microphone->control->setLost(lost);
    return true;
}

}  // namespace oxa::host
