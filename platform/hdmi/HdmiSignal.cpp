// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "HdmiSignal"

#include "hdmi/HdmiSignal.h"

#include <utility>

namespace android {

namespace {

AnnotatedMutex gCurrentLock;

sp<HdmiSignal>& current() {
    static auto& signal = *new sp<HdmiSignal>;
    return signal;
}

}  // namespace

sp<HdmiSignal> HdmiSignal::current() {
    AnnotatedLock lock(gCurrentLock);
    return android::current();
}

bool HdmiSignal::setCurrent(const sp<HdmiSignal>& signal) {
    AnnotatedLock lock(gCurrentLock);
    if (signal != nullptr && android::current() != nullptr) return false;
    android::current() = signal;
    return true;
}

HdmiSignal::HdmiSignal(const std::string& source, int sampleRate, int camera)
    : mSource(source),
      mSampleRate(sampleRate),
      mCamera(new RegisteredCamera(camera, source, true, new LiveControl)),
      mClock(LiveClock::forSource(source)),
      mSoundControl(new LiveControl) {}

bool HdmiSignal::isPlugged() const {
    AnnotatedLock lock(mLock);
    return mPlugged;
}

bool HdmiSignal::hasSound() const {
    AnnotatedLock lock(mLock);
    return mPlugged && !mSoundLost;
}

void HdmiSignal::setPlugged(bool plugged) {
    {
        AnnotatedLock lock(mLock);
        if (mPlugged == plugged) return;
        mPlugged = plugged;
        mCamera->control()->setLost(!plugged);
        applyToSoundLocked();
    }
    AnnotatedLock lock(mListenerLock);
    for (const auto& [id, listener] : mListeners)
        listener(plugged);
}

void HdmiSignal::setSoundLost(bool lost) {
    AnnotatedLock lock(mLock);
    mSoundLost = lost;
    applyToSoundLocked();
}

void HdmiSignal::setStalled(bool stalled) {
    AnnotatedLock lock(mLock);
    mStalled = stalled;
    mCamera->control()->setStalled(stalled);
    applyToSoundLocked();
}

// The service that reads the sound outlives the signal: to it, all of this is a pause.
void HdmiSignal::applyToSoundLocked() {
    mSoundControl->setStalled(!mPlugged || mSoundLost || mStalled);
}

int HdmiSignal::addPlugListener(PlugListener listener) {
    AnnotatedLock lock(mListenerLock);
    mListeners[mNextListener] = std::move(listener);
    return mNextListener++;
}

void HdmiSignal::removePlugListener(int id) {
    AnnotatedLock lock(mListenerLock);
    mListeners.erase(id);
}

}  // namespace android
