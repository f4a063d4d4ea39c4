// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <binder/IInterface.h>
#include <binder/IMemory.h>
#include <camera/ICameraRecordingProxyListener.h>
#include <utils/Errors.h>

#include <vector>

namespace android {

// The part of a camera that a recorder needs and may be given: start, stop, and giving pictures
// back. Keeps the camera alive. Thread-safe.
class ICameraRecordingProxy : public IInterface {
  public:
    ~ICameraRecordingProxy() override = default;

    // `listener` may be null when pictures go to a video target.
    virtual status_t startRecording(const sp<ICameraRecordingProxyListener>& listener) = 0;
    virtual void stopRecording() = 0;
    virtual void releaseRecordingFrame(const sp<IMemory>& mem) = 0;
    virtual void releaseRecordingFrameHandle(native_handle_t* handle) = 0;
    virtual void releaseRecordingFrameHandleBatch(const std::vector<native_handle_t*>& handles) = 0;
};

class BnCameraRecordingProxy : public BnInterface<ICameraRecordingProxy> {};

}  // namespace android
