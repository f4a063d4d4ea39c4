// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <binder/IInterface.h>
#include <binder/IMemory.h>
#include <binder/Status.h>
#include <camera/android/hardware/ICameraClient.h>
#include <gui/IGraphicBufferProducer.h>
#include <stdint.h>
#include <utils/Errors.h>
#include <utils/String8.h>

#include <vector>

namespace android::hardware {

// An opened camera as its service hands it out: what Camera holds, and what goes to a
// CameraSource. Cameras of this process only; all calls are thread-safe. Once the camera is
// disconnected they answer NO_INIT, false or nothing.
class ICamera : public IInterface {
  public:
    // How recorded pictures are delivered. Cameras on Linux know the buffer queue only.
    enum {
        VIDEO_BUFFER_MODE_DATA_CALLBACK_YUV = 0,
        VIDEO_BUFFER_MODE_DATA_CALLBACK_METADATA = 1,
        VIDEO_BUFFER_MODE_BUFFER_QUEUE = 2,
    };

    ~ICamera() override = default;

    // Ends everything and frees the device; waits for the capture thread.
    virtual binder::Status disconnect() = 0;
    // From now on `client` is called back instead of the former one.
    virtual status_t connect(const sp<ICameraClient>& client) = 0;
    virtual status_t lock() = 0;
    virtual status_t unlock() = 0;

    virtual status_t setPreviewTarget(const sp<IGraphicBufferProducer>& bufferProducer) = 0;
    virtual void setPreviewCallbackFlag(int flag) = 0;
    virtual status_t setPreviewCallbackTarget(
            const sp<IGraphicBufferProducer>& callbackProducer) = 0;
    virtual status_t startPreview() = 0;
    virtual void stopPreview() = 0;
    virtual bool previewEnabled() = 0;

    virtual status_t startRecording() = 0;
    virtual void stopRecording() = 0;
    virtual bool recordingEnabled() = 0;
    virtual void releaseRecordingFrame(const sp<IMemory>& mem) = 0;
    virtual void releaseRecordingFrameHandle(native_handle_t* handle) = 0;
    virtual void releaseRecordingFrameHandleBatch(const std::vector<native_handle_t*>& handles) = 0;

    virtual status_t autoFocus() = 0;
    virtual status_t cancelAutoFocus() = 0;
    virtual status_t takePicture(int msgType) = 0;

    virtual status_t setParameters(const String8& params) = 0;
    virtual String8 getParameters() const = 0;
    virtual status_t sendCommand(int32_t cmd, int32_t arg1, int32_t arg2) = 0;

    virtual status_t setVideoBufferMode(int32_t videoBufferMode) = 0;
    virtual status_t setVideoTarget(const sp<IGraphicBufferProducer>& bufferProducer) = 0;

    virtual status_t setAudioRestriction(int32_t mode) = 0;
    virtual int32_t getGlobalAudioRestriction() = 0;
};

class BnCamera : public BnInterface<ICamera> {};

}  // namespace android::hardware
