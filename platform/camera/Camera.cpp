// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "Camera"

#include <camera/Camera.h>
#include <log/log.h>

#include <algorithm>

#include "camera/CameraDevice.h"
#include "camera/CameraRegistry.h"

namespace android {

// ---- CameraBase

template <typename TCam, typename TCamTraits>
void CameraBase<TCam, TCamTraits>::disconnect() {
    sp<hardware::ICamera> dropped;
    {
        Mutex::Autolock lock(mLock);
        dropped = mCamera;
        mCamera.clear();
    }
    if (dropped != nullptr) dropped->disconnect();
}

template <typename TCam, typename TCamTraits>
int CameraBase<TCam, TCamTraits>::getNumberOfCameras() {
    const auto cameras = CameraRegistry::instance().list();
    return cameras.empty() ? 0 : cameras.back()->number() + 1;
}

template <typename TCam, typename TCamTraits>
status_t CameraBase<TCam, TCamTraits>::getCameraInfo(int cameraId, hardware::CameraInfo* info) {
    *info = hardware::CameraInfo();
    return CameraRegistry::instance().find(cameraId) == nullptr ? BAD_VALUE : OK;
}

template <typename TCam, typename TCamTraits>
auto CameraBase<TCam, TCamTraits>::remote() -> sp<TCamUser> {
    Mutex::Autolock lock(mLock);
    return mCamera;
}

template <typename TCam, typename TCamTraits>
void CameraBase<TCam, TCamTraits>::setListener(const sp<TCamListener>& listener) {
    Mutex::Autolock lock(mLock);
    mListener = listener;
}

template class CameraBase<Camera>;

// ---- Connection

class Camera::RecordingProxy : public BnCameraRecordingProxy {
  public:
    explicit RecordingProxy(const sp<Camera>& camera) : mCamera(camera) {}

    status_t startRecording(const sp<ICameraRecordingProxyListener>& listener) override {
        mCamera->setRecordingProxyListener(listener);
        const status_t status = mCamera->reconnect();
        return status == OK ? mCamera->startRecording() : status;
    }
    void stopRecording() override { mCamera->stopRecording(); }
    void releaseRecordingFrame(const sp<IMemory>& mem) override {
        mCamera->releaseRecordingFrame(mem);
    }
    void releaseRecordingFrameHandle(native_handle_t* handle) override {
        mCamera->releaseRecordingFrameHandle(handle);
    }
    void releaseRecordingFrameHandleBatch(const std::vector<native_handle_t*>& handles) override {
        for (native_handle_t* handle : handles)
            mCamera->releaseRecordingFrameHandle(handle);
    }

  private:
    const sp<Camera> mCamera;
};

sp<Camera> Camera::create(const sp<hardware::ICamera>& camera) {
    if (camera == nullptr) return nullptr;
    const sp<Camera> client = new Camera;
    if (camera->connect(client) != OK) return nullptr;
    client->mStatus = OK;
    Mutex::Autolock lock(client->mLock);
    client->mCamera = camera;
    return client;
}

sp<Camera> Camera::connect(int cameraId, const String16& /*clientPackageName*/, int /*clientUid*/,
                           int /*clientPid*/) {
    const sp<RegisteredCamera> registered = CameraRegistry::instance().find(cameraId);
    if (registered == nullptr) {
        ALOGE("there is no camera %d", cameraId);
        return nullptr;
    }
    const sp<CameraDevice> held = registered->takeHeld();
    return create(held != nullptr ? held : CameraDevice::open(registered));
}

sp<hardware::ICamera> Camera::camera() const {
    Mutex::Autolock lock(mLock);
    return mCamera;
}

status_t Camera::reconnect() {
    const sp<hardware::ICamera> device = camera();
    return device == nullptr ? NO_INIT : device->connect(this);
}

status_t Camera::lock() {
    const sp<hardware::ICamera> device = camera();
    return device == nullptr ? NO_INIT : device->lock();
}

status_t Camera::unlock() {
    const sp<hardware::ICamera> device = camera();
    return device == nullptr ? NO_INIT : device->unlock();
}

// ---- Preview and recording

status_t Camera::setPreviewTarget(const sp<IGraphicBufferProducer>& bufferProducer) {
    const sp<hardware::ICamera> device = camera();
    return device == nullptr ? NO_INIT : device->setPreviewTarget(bufferProducer);
}

status_t Camera::startPreview() {
    const sp<hardware::ICamera> device = camera();
    return device == nullptr ? NO_INIT : device->startPreview();
}

void Camera::stopPreview() {
    const sp<hardware::ICamera> device = camera();
    if (device != nullptr) device->stopPreview();
}

bool Camera::previewEnabled() {
    const sp<hardware::ICamera> device = camera();
    return device != nullptr && device->previewEnabled();
}

status_t Camera::startRecording() {
    const sp<hardware::ICamera> device = camera();
    return device == nullptr ? NO_INIT : device->startRecording();
}

void Camera::stopRecording() {
    setRecordingProxyListener(nullptr);
    const sp<hardware::ICamera> device = camera();
    if (device != nullptr) device->stopRecording();
}

bool Camera::recordingEnabled() {
    const sp<hardware::ICamera> device = camera();
    return device != nullptr && device->recordingEnabled();
}

void Camera::releaseRecordingFrame(const sp<IMemory>& mem) {
    const sp<hardware::ICamera> device = camera();
    if (device != nullptr) device->releaseRecordingFrame(mem);
}

void Camera::releaseRecordingFrameHandle(native_handle_t* handle) {
    const sp<hardware::ICamera> device = camera();
    if (device != nullptr) device->releaseRecordingFrameHandle(handle);
}

status_t Camera::setVideoBufferMode(int32_t videoBufferMode) {
    const sp<hardware::ICamera> device = camera();
    return device == nullptr ? NO_INIT : device->setVideoBufferMode(videoBufferMode);
}

status_t Camera::setVideoTarget(const sp<IGraphicBufferProducer>& bufferProducer) {
    const sp<hardware::ICamera> device = camera();
    return device == nullptr ? NO_INIT : device->setVideoTarget(bufferProducer);
}

sp<ICameraRecordingProxy> Camera::getRecordingProxy() {
    return new RecordingProxy(this);
}

// ---- Settings

status_t Camera::setParameters(const String8& params) {
    const sp<hardware::ICamera> device = camera();
    return device == nullptr ? NO_INIT : device->setParameters(params);
}

String8 Camera::getParameters() const {
    const sp<hardware::ICamera> device = camera();
    return device == nullptr ? String8() : device->getParameters();
}

status_t Camera::sendCommand(int32_t cmd, int32_t arg1, int32_t arg2) {
    const sp<hardware::ICamera> device = camera();
    return device == nullptr ? NO_INIT : device->sendCommand(cmd, arg1, arg2);
}

status_t Camera::takePicture(int msgType) {
    const sp<hardware::ICamera> device = camera();
    return device == nullptr ? NO_INIT : device->takePicture(msgType);
}

status_t Camera::autoFocus() {
    const sp<hardware::ICamera> device = camera();
    return device == nullptr ? NO_INIT : device->autoFocus();
}

status_t Camera::cancelAutoFocus() {
    const sp<hardware::ICamera> device = camera();
    return device == nullptr ? NO_INIT : device->cancelAutoFocus();
}

// ---- Callbacks

sp<CameraListener> Camera::listener() const {
    Mutex::Autolock lock(mLock);
    return mListener;
}

void Camera::setRecordingProxyListener(const sp<ICameraRecordingProxyListener>& listener) {
    Mutex::Autolock lock(mLock);
    mRecordingProxyListener = listener;
}

sp<ICameraRecordingProxyListener> Camera::recordingProxyListener() const {
    Mutex::Autolock lock(mLock);
    return mRecordingProxyListener;
}

void Camera::notifyCallback(int32_t msgType, int32_t ext1, int32_t ext2) {
    const sp<CameraListener> told = listener();
    if (told != nullptr) told->notify(msgType, ext1, ext2);
}

void Camera::dataCallback(int32_t msgType, const sp<IMemory>& data,
                          camera_frame_metadata_t* metadata) {
    const sp<CameraListener> told = listener();
    if (told != nullptr) told->postData(msgType, data, metadata);
}

// Recorded pictures go to the proxy's listener if there is one.
void Camera::dataCallbackTimestamp(nsecs_t timestamp, int32_t msgType, const sp<IMemory>& data) {
    const sp<ICameraRecordingProxyListener> recorder = recordingProxyListener();
    if (recorder != nullptr) {
        recorder->dataCallbackTimestamp(timestamp, msgType, data);
        return;
    }
    const sp<CameraListener> told = listener();
    if (told != nullptr) told->postDataTimestamp(timestamp, msgType, data);
}

void Camera::recordingFrameHandleCallbackTimestamp(nsecs_t timestamp, native_handle_t* handle) {
    const sp<ICameraRecordingProxyListener> recorder = recordingProxyListener();
    if (recorder != nullptr) {
        recorder->recordingFrameHandleCallbackTimestamp(timestamp, handle);
        return;
    }
    const sp<CameraListener> told = listener();
    if (told != nullptr) told->postRecordingFrameHandleTimestamp(timestamp, handle);
}

void Camera::recordingFrameHandleCallbackTimestampBatch(
        const std::vector<nsecs_t>& timestamps, const std::vector<native_handle_t*>& handles) {
    const sp<ICameraRecordingProxyListener> recorder = recordingProxyListener();
    if (recorder != nullptr) {
        recorder->recordingFrameHandleCallbackTimestampBatch(timestamps, handles);
        return;
    }
    const sp<CameraListener> told = listener();
    if (told != nullptr) told->postRecordingFrameHandleTimestampBatch(timestamps, handles);
}

}  // namespace android
