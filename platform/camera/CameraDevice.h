// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <camera/CameraParameters.h>
#include <camera/android/hardware/ICamera.h>

#include <memory>
#include <string>
#include <thread>

#include "base/AnnotatedMutex.h"
#include "camera/CameraAbilities.h"
#include "camera/CameraOutput.h"
#include "camera/CameraRegistry.h"
#include "live/LiveReader.h"

namespace android {

// An opened camera. One thread captures while preview or recording wants pictures and hands each
// of them, by reference, to the targets.
//
// Lock order: mLock (commands, one at a time, which may wait for the capture thread), mOutputLock.
// The capture thread takes mOutputLock only.
class CameraDevice : public hardware::BnCamera {
  public:
    // Null when it is in use or its source cannot be opened, which the fault listeners are told.
    static sp<CameraDevice> open(const sp<RegisteredCamera>& camera);

    // Opens its source in that form, so that nothing of it can fail in the next start of the
    // capture: a device that is lost meanwhile ends that. The next client gets this object. Nothing
    // is captured until then. False, with the cause, when it cannot be opened.
    bool hold(const Size& size, int frameRate, std::string* cause);

    binder::Status disconnect() override;
    status_t connect(const sp<hardware::ICameraClient>& client) override;
    status_t lock() override;
    status_t unlock() override;
    status_t setPreviewTarget(const sp<IGraphicBufferProducer>& target) override;
    void setPreviewCallbackFlag(int flag) override;
    status_t setPreviewCallbackTarget(const sp<IGraphicBufferProducer>& target) override;
    status_t startPreview() override;
    void stopPreview() override;
    bool previewEnabled() override;
    status_t startRecording() override;
    void stopRecording() override;
    bool recordingEnabled() override;
    void releaseRecordingFrame(const sp<IMemory>& mem) override;
    void releaseRecordingFrameHandle(native_handle_t* handle) override;
    void releaseRecordingFrameHandleBatch(const std::vector<native_handle_t*>& handles) override;
    status_t autoFocus() override;
    status_t cancelAutoFocus() override;
    status_t takePicture(int msgType) override;
    status_t setParameters(const String8& params) override;
    String8 getParameters() const override;
    status_t sendCommand(int32_t cmd, int32_t arg1, int32_t arg2) override;
    status_t setVideoBufferMode(int32_t mode) override;
    status_t setVideoTarget(const sp<IGraphicBufferProducer>& target) override;
    status_t setAudioRestriction(int32_t mode) override;
    int32_t getGlobalAudioRestriction() override;

  protected:
    ~CameraDevice() override;

  private:
    CameraDevice(const sp<RegisteredCamera>& camera, const CameraAbilities& abilities);

    status_t checkParametersLocked(const CameraParameters& wanted) const REQUIRES(mLock);
    bool isChangeLocked(const CameraParameters& wanted) const REQUIRES(mLock);
    bool openReaderLocked(std::string* cause) REQUIRES(mLock);
    status_t startCaptureLocked() REQUIRES(mLock);
    void stopCaptureLocked() REQUIRES(mLock);
    void stopPreviewLocked() REQUIRES(mLock);
    void stopRecordingLocked() REQUIRES(mLock);
    status_t connectOutput(const sp<IGraphicBufferProducer>& target, sp<CameraOutput>* output);
    void dropOutput(sp<CameraOutput>* output);

    void capture();
    void deliver(const LiveBlock& block);
    void countDelivered(CameraOutput::Offer recorded, CameraOutput::Offer shown);
    void onSourceEnded(bool lost);
    static void report(const RegisteredCamera& camera, bool ended, const std::string& cause,
                       int error);

    const sp<RegisteredCamera> mCamera;
    const CameraAbilities mAbilities;

    mutable AnnotatedMutex mLock;
    bool mConnected GUARDED_BY(mLock) = true;
    bool mPreviewing GUARDED_BY(mLock) = false;
    bool mRecording GUARDED_BY(mLock) = false;
    CameraParameters mParameters GUARDED_BY(mLock);
    sp<IGraphicBufferProducer> mPreviewTarget GUARDED_BY(mLock);
    sp<IGraphicBufferProducer> mVideoTarget GUARDED_BY(mLock);
    std::unique_ptr<LiveReader> mReader;  // changed with mLock, constant while the thread runs
    std::thread mThread GUARDED_BY(mLock);
    sp<LiveClock> mClock
            GUARDED_BY(mLock);  // held, so that the source goes on while nobody captures

    AnnotatedMutex mOutputLock;
    sp<hardware::ICameraClient> mClient GUARDED_BY(mOutputLock);
    sp<CameraOutput> mPreviewOutput GUARDED_BY(mOutputLock);
    sp<CameraOutput> mVideoOutput GUARDED_BY(mOutputLock);
    bool mEnded GUARDED_BY(mOutputLock) = false;
    bool mDropReported GUARDED_BY(mOutputLock) = false;
};

}  // namespace android
