// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/HdmiSound.h>

#include "base/AnnotatedMutex.h"
#include "hdmi/AudioUtilService.h"
#include "hdmi/DefaultAudioUtil.h"
#include "hidl/ServiceTable.h"

namespace android {

namespace {

struct Choice {
    oxa::host::HdmiSoundOptions options;  // no source: the receiver's sound
    sp<LiveControl> control = new LiveControl;
};

AnnotatedMutex gLock;
Choice& gChoice GUARDED_BY(gLock) = *new Choice;
sp<AudioUtilService>& gService GUARDED_BY(gLock) = *new sp<AudioUtilService>;
bool gEnded GUARDED_BY(gLock) = false;

constexpr char kDefaultName[] = "default";

bool chooseInput(LiveOptions* options) {
    AnnotatedLock lock(gLock);
    options->sampleRate = gChoice.options.sampleRate;
    options->channels = gChoice.options.channels;
    if (!gChoice.options.source.empty()) {
        options->source = gChoice.options.source;
        options->repeat = gChoice.options.repeat;
        options->control = gChoice.control;
        return true;
    }
    const sp<HdmiSignal> signal = HdmiSignal::current();
    if (signal == nullptr) return false;
    options->source = signal->source();
    options->repeat = true;
    options->clock = signal->clock();
    options->control = signal->soundControl();
    return true;
}

sp<AudioUtilService> service() {
    AnnotatedLock lock(gLock);
    return gService;
}

template <typename Change>
void changeOptions(Change change) {
    {
        AnnotatedLock lock(gLock);
        change(&gChoice.options);
    }
    const sp<AudioUtilService> running = service();
    if (running != nullptr) running->restartCapture();
}

}  // namespace

void startDefaultAudioUtil() {
    AnnotatedLock lock(gLock);
    if (gService != nullptr || gEnded) return;
    gService = new AudioUtilService(chooseInput);
    addService(AudioUtilService::descriptor, kDefaultName, gService);
}

}  // namespace android

namespace oxa::host {

using android::AnnotatedLock;
using android::AudioUtilService;
using android::sp;

void useHdmiSound(const HdmiSoundOptions& options) {
    AnnotatedLock lock(android::gLock);
    android::gChoice = android::Choice();
    android::gChoice.options = options;
}

void useHdmiReceiverSound() {
    useHdmiSound(HdmiSoundOptions());
}

std::string hdmiSoundError(const std::string& source) {
    return android::LiveReader::soundError(source);
}

void setHdmiSoundRate(int sampleRate) {
    android::changeOptions([&](HdmiSoundOptions* options) { options->sampleRate = sampleRate; });
}

void setHdmiSoundChannels(int channels) {
    android::changeOptions([&](HdmiSoundOptions* options) { options->channels = channels; });
}

void delayHdmiSoundService(int64_t delayUs) {
    const sp<AudioUtilService> service = android::service();
    if (service != nullptr) service->setDelay(delayUs);
}

HdmiSoundFigures hdmiSoundFigures() {
    HdmiSoundFigures figures;
    const sp<AudioUtilService> service = android::service();
    if (service == nullptr) return figures;
    figures.blocks = service->blocks();
    figures.dropped = service->droppedBlocks();
    figures.peak = service->peak();
    figures.capturing = service->isCapturing();
    return figures;
}

void stallHdmiSound(bool stalled) {
    AnnotatedLock lock(android::gLock);
    android::gChoice.control->setStalled(stalled);
}

void loseHdmiSound(bool lost) {
    AnnotatedLock lock(android::gLock);
    android::gChoice.control->setLost(lost);
}

void endHdmiSoundService() {
    sp<AudioUtilService> service;
    {
        AnnotatedLock lock(android::gLock);
        android::gEnded = true;
        service = android::gService;
        android::gService.clear();
    }
    if (service == nullptr) return;
    android::removeService(AudioUtilService::descriptor, android::kDefaultName, service);
    service->die();
}

void startHdmiSoundService() {
    {
        AnnotatedLock lock(android::gLock);
        android::gEnded = false;
    }
    android::startDefaultAudioUtil();
}

bool isHdmiSoundServiceThere() {
    AnnotatedLock lock(android::gLock);
    return !android::gEnded;
}

}  // namespace oxa::host
