// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <binder/IMemory.h>
#include <camera/CameraBase.h>
#include <camera/ICameraRecordingProxy.h>
#include <camera/ICameraRecordingProxyListener.h>
#include <camera/android/hardware/ICamera.h>
#include <camera/android/hardware/ICameraClient.h>
#include <gui/IGraphicBufferProducer.h>
#include <system/camera.h>
#include <utils/Errors.h>
#include <utils/String16.h>
#include <utils/String8.h>
#include <utils/Timers.h>

#include <vector>

namespace android {

// Hears of a camera; called on the camera's threads, must return soon and not disconnect it.
class CameraListener : virtual public RefBase {
  public:
    // CAMERA_MSG_ERROR with CAMERA_ERROR_SERVER_DIED when the source of the pictures is lost.
    virtual void notify(int32_t msgType, int32_t ext1, int32_t ext2) = 0;
    virtual void postData(int32_t msgType, const sp<IMemory>& dataPtr,
                          camera_frame_metadata_t* metadata) = 0;
    virtual void postDataTimestamp(nsecs_t timestamp, int32_t msgType,
                                   const sp<IMemory>& dataPtr) = 0;
    virtual void postRecordingFrameHandleTimestamp(nsecs_t timestamp, native_handle_t* handle) = 0;
    virtual void postRecordingFrameHandleTimestampBatch(
            const std::vector<nsecs_t>& timestamps,
            const std::vector<native_handle_t*>& handles) = 0;
};

class Camera;

template <>
struct CameraTraits<Camera> {
    typedef CameraListener TCamListener;
    typedef hardware::ICamera TCamUser;
    typedef hardware::ICameraClient TCamCallbacks;
};

// A client's view of one camera. All calls are thread-safe and synchronous. Preview and recording
// share one stream of pictures in the preview's size and rate; neither waits for who takes them:
// pictures that find no room are dropped and counted.
class Camera : public CameraBase<Camera>, public hardware::BnCameraClient {
  public:
    enum { USE_CALLING_UID = -1, USE_CALLING_PID = -1 };

    // Another client of an opened camera, which is called back instead of the former one. Null for
    // null, and when the camera was disconnected.
    static sp<Camera> create(const sp<hardware::ICamera>& camera);

    // Opens the camera with this number, which takes as long as its device does. Null when there is
    // none, when somebody has it already, or when its source cannot be opened, which the fault
    // listeners are told. Dropping the last reference does not give the camera back: disconnect()
    // does.
    static sp<Camera> connect(int cameraId, const String16& clientPackageName, int clientUid,
                              int clientPid);

    status_t reconnect();
    status_t lock();
    status_t unlock();

    // Where the preview is shown; null: nowhere. Takes effect at the next startPreview(), or at
    // once while the preview runs.
    status_t setPreviewTarget(const sp<IGraphicBufferProducer>& bufferProducer);
    // OK when it runs already.
    status_t startPreview();
    // Nothing more is shown; a recording goes on. Harmless when no preview runs.
    void stopPreview();
    bool previewEnabled();

    // Pictures go to the video target from now on, with or without a preview.
    status_t startRecording();
    void stopRecording();
    bool recordingEnabled();
    void releaseRecordingFrame(const sp<IMemory>& mem);
    void releaseRecordingFrameHandle(native_handle_t* handle);

    // See CameraParameters. BAD_VALUE, with nothing changed, for a size that the camera does not
    // list; -EBUSY for another preview size or rate while the preview runs.
    status_t setParameters(const String8& params);
    String8 getParameters() const;

    // INVALID_OPERATION for all but the buffer queue, and while recording.
    status_t setVideoBufferMode(int32_t videoBufferMode);
    // Where recorded pictures go. -EBUSY while recording.
    status_t setVideoTarget(const sp<IGraphicBufferProducer>& bufferProducer);

    // BAD_VALUE: no camera here knows a command.
    status_t sendCommand(int32_t cmd, int32_t arg1, int32_t arg2);
    status_t takePicture(int msgType);
    status_t autoFocus();
    status_t cancelAutoFocus();

    // A new object each time.
    sp<ICameraRecordingProxy> getRecordingProxy();

    // hardware::ICameraClient
    void notifyCallback(int32_t msgType, int32_t ext1, int32_t ext2) override;
    void dataCallback(int32_t msgType, const sp<IMemory>& data,
                      camera_frame_metadata_t* metadata) override;
    void dataCallbackTimestamp(nsecs_t timestamp, int32_t msgType,
                               const sp<IMemory>& data) override;
    void recordingFrameHandleCallbackTimestamp(nsecs_t timestamp, native_handle_t* handle) override;
    void recordingFrameHandleCallbackTimestampBatch(
            const std::vector<nsecs_t>& timestamps,
            const std::vector<native_handle_t*>& handles) override;

  private:
    class RecordingProxy;

    Camera() = default;
    ~Camera() override = default;

    sp<hardware::ICamera> camera() const;
    sp<CameraListener> listener() const;
    void setRecordingProxyListener(const sp<ICameraRecordingProxyListener>& listener);
    sp<ICameraRecordingProxyListener> recordingProxyListener() const;

    sp<ICameraRecordingProxyListener> mRecordingProxyListener GUARDED_BY(mLock);
};

}  // namespace android
