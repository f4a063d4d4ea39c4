// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/Cameras.h>
#include <utils/RefBase.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "base/AnnotatedMutex.h"
#include "live/LiveClock.h"
#include "live/LiveControl.h"

namespace android {

class CameraDevice;

// One camera that there is, opened or not. Thread-safe.
class RegisteredCamera : public RefBase {
  public:
    using Figures = oxa::host::CameraFigures;

    RegisteredCamera(int number, const std::string& source, bool repeat,
                     const sp<LiveControl>& control);

    int number() const { return mNumber; }
    const std::string& source() const { return mSource; }
    bool repeat() const { return mRepeat; }
    const sp<LiveControl>& control() const { return mControl; }

    // False when somebody has opened it already. Figures begin anew.
    bool tryOpen();
    void close();

    // Opened for whoever asks next, as long as somebody else refers to it; then nothing is held.
    void setHeld(const wp<CameraDevice>& device);
    sp<CameraDevice> takeHeld();

    // Of recordedFromUs().
    static constexpr int64_t kNotRecorded = 0;
    static constexpr int64_t kNoPictureYet = -1;

    // When the first picture of the recording that runs was captured (monotonic clock). Sound that
    // belongs to the camera begins there, too, although it is switched on later.
    int64_t recordedFromUs() const { return mRecordedFromUs; }
    void setRecordedFromUs(int64_t timeUs) { mRecordedFromUs = timeUs; }

    Figures figures() const;
    template <typename Change>
    void changeFigures(Change change) {
        AnnotatedLock lock(mLock);
        change(&mFigures);
    }

  private:
    const int mNumber;
    const std::string mSource;
    const bool mRepeat;
    const sp<LiveControl> mControl;
    std::atomic<int64_t> mRecordedFromUs{kNotRecorded};
    mutable AnnotatedMutex mLock;
    Figures mFigures GUARDED_BY(mLock);
    wp<CameraDevice> mHeld GUARDED_BY(mLock);
};

// The cameras of the process. Thread-safe.
class CameraRegistry {
  public:
    static CameraRegistry& instance();

    // In place of what had the number.
    void add(const sp<RegisteredCamera>& camera);
    void remove(int number);
    void clear();

    // Null when there is none with this number.
    sp<RegisteredCamera> find(int number);
    // The same of those that were found before: asks no device.
    sp<RegisteredCamera> findKnown(int number);
    // In the order of their numbers.
    std::vector<sp<RegisteredCamera>> list();

  private:
    using Cameras = std::map<int, sp<RegisteredCamera>>;

    Cameras& camerasLocked() REQUIRES(mLock);

    AnnotatedMutex mLock;
    Cameras mRegistered GUARDED_BY(mLock);
    Cameras mDevices GUARDED_BY(mLock);  // the kernel's, as they were found last
};

}  // namespace android
