// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/RefBase.h>

#include <functional>
#include <map>
#include <string>

#include "base/AnnotatedMutex.h"
#include "camera/CameraRegistry.h"
#include "live/LiveClock.h"
#include "live/LiveControl.h"

namespace android {

// What comes over the cable of the simulated HDMI receiver, for those who read it: its camera and
// the HDMI audio service. Thread-safe.
class HdmiSignal : public RefBase {
  public:
    using PlugListener = std::function<void(bool plugged)>;

    // Null without a receiver.
    static sp<HdmiSignal> current();
    // For the receiver; null when it goes. False when there is one already.
    static bool setCurrent(const sp<HdmiSignal>& signal);

    // `camera`: the number of the receiver as a camera.
    HdmiSignal(const std::string& source, int sampleRate, int camera);

    // For LiveOptions, whose `clock` it keeps alive.
    const std::string& source() const { return mSource; }
    const sp<LiveClock>& clock() const { return mClock; }
    // Stalled while the sound is gone: readers that shall outlast that have no silence limit.
    const sp<LiveControl>& soundControl() const { return mSoundControl; }

    int sampleRate() const { return mSampleRate; }  // Hz
    const sp<RegisteredCamera>& camera() const { return mCamera; }

    bool isPlugged() const;
    // Plugged, and its sound is there.
    bool hasSound() const;

    void setPlugged(bool plugged);
    void setSoundLost(bool lost);
    void setStalled(bool stalled);

    // Called on the thread that pulls or puts the plug, with the files already changed. Must not
    // add or remove listeners. Nothing is called any more when removePlugListener() has returned.
    int addPlugListener(PlugListener listener);
    void removePlugListener(int id);

  private:
    void applyToSoundLocked() REQUIRES(mLock);

    const std::string mSource;
    const int mSampleRate;
    const sp<RegisteredCamera> mCamera;
    const sp<LiveClock> mClock;
    const sp<LiveControl> mSoundControl;
    mutable AnnotatedMutex mLock;
    bool mPlugged GUARDED_BY(mLock) = true;
    bool mSoundLost GUARDED_BY(mLock) = false;
    bool mStalled GUARDED_BY(mLock) = false;
    AnnotatedMutex mListenerLock;
    std::map<int, PlugListener> mListeners GUARDED_BY(mListenerLock);
    int mNextListener GUARDED_BY(mListenerLock) = 1;
};

}  // namespace android
