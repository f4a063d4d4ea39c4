// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <camera/android/hardware/ICamera.h>
#include <utils/Errors.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>

namespace android {

namespace hardware {

enum { CAMERA_FACING_BACK = 0, CAMERA_FACING_FRONT = 1 };

struct CameraInfo {
    int facing = CAMERA_FACING_BACK;
    int orientation = 0;  // degrees clockwise that the picture is to be turned
};

}  // namespace hardware

// Names the types that belong to a kind of camera.
template <typename TCam>
struct CameraTraits {};

// The part of Camera that has to do with the service that hands cameras out.
template <typename TCam, typename TCamTraits = CameraTraits<TCam>>
class CameraBase : public IBinder::DeathRecipient {
  public:
    typedef typename TCamTraits::TCamListener TCamListener;
    typedef typename TCamTraits::TCamUser TCamUser;
    typedef typename TCamTraits::TCamCallbacks TCamCallbacks;

    // Gives the camera back: ends preview and recording and waits for the capture thread. Calls
    // that follow answer NO_INIT, false, an empty string or nothing. Harmless when repeated.
    virtual void disconnect();

    void setListener(const sp<TCamListener>& listener);

    // One more than the highest number of a camera; not every number below needs to have one.
    static int getNumberOfCameras();

    // BAD_VALUE when there is no such camera.
    static status_t getCameraInfo(int cameraId, hardware::CameraInfo* info);

    // What others can make a Camera or a CameraSource of; null once disconnected.
    sp<TCamUser> remote();
    status_t getStatus() { return mStatus; }

  protected:
    CameraBase() = default;
    ~CameraBase() override = default;

    // Cameras of this process do not die before it.
    void binderDied(const wp<IBinder>& /*who*/) override {}

    mutable Mutex mLock;
    sp<TCamUser> mCamera GUARDED_BY(mLock);
    sp<TCamListener> mListener GUARDED_BY(mLock);
    status_t mStatus = NO_INIT;  // constant once the object was handed out
};

}  // namespace android
