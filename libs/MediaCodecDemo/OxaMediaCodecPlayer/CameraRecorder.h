// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <camera/Camera.h>
#include <camera/CameraParameters.h>
#include <gui/Surface.h>
#include <media/stagefright/CameraSource.h>
#include <media/stagefright/MediaBuffer.h>
#include <media/stagefright/MediaCodec.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <utils/String16.h>
#include <utils/Vector.h>

#include <atomic>
#include <memory>

#include "BaseEncoder.h"
#include "CameraRecording.h"
#include "HdmiRxInfo.h"
#include "OxaMediaCodecPlayerCommon.h"
#include "OxaMediaMuxer.h"
#include "TrackEncoder.h"

namespace android {

// Previews a camera (the HDMI receiver is one, too) on a surface and turns its pictures into AVC in
// the muxer. Recording is switched on and off while the preview runs; each recording has a capture
// source, a puller and an encoder of its own.
//
//   UNINITIALIZED -setDataSource-> WAIT_SURFACE -setSurface-> INITIALIZED -configure-> CONFIGURED
//   -prepare-> PREPARED -start-> STARTED -stop-> STOPPED -reset-> UNINITIALIZED
//
// Every call is a request to the recorder's own looper and returns when it was handled. A call in
// another state is a fatal assertion.
class CameraRecorder : public BaseEncoder, virtual public OxaBase {
  public:
    CameraRecorder();

    // The camera. `cameraType` 1, or the id 1, stands for the HDMI receiver, which is camera 0.
    // Nothing is opened yet. OK always: an id that no camera has is a fatal assertion.
    status_t setDataSource(int cameraType, int cameraId, const String16& clientName);
    // The same for a camera that the client has opened; shares it.
    status_t setDataSource(int cameraType, const sp<hardware::ICamera>& camera,
                           const String16& clientName);
    // Where the preview goes; shares it.
    status_t setSurface(const sp<Surface>& surface);
    // Any state, before setRecord(1); shares it.
    status_t setMuxer(const sp<OxaMediaMuxer>& muxer);
    // `format` is not copied: it must outlive the recorder, and a computed bit rate is written back
    // into it. Also in STARTED, for the next recording.
    status_t configure(_AV_FORMAT_FORMAT& format);
    // Opens the camera and sets it up. NO_INIT without a camera; BAD_VALUE for a size that it does
    // not list or a rate above the HDMI receiver's; -EBUSY when it refuses its parameters;
    // UNKNOWN_ERROR when it cannot show a preview.
    status_t prepare();
    // In STARTED: shows (1) or hides (0) the preview. No effect in other states.
    status_t setPlayback(int flag);
    // Switches recording on (1) and off (0). On: UNKNOWN_ERROR, NO_INIT or the encoder's status.
    // Off returns at once: the end of the recording follows as kWhatStopTranscode.
    status_t setRecord(int flag);
    // Starts the preview, from which recordings take their pictures. The camera's status;
    // INVALID_OPERATION without one.
    status_t start();
    // Ends a recording and waits until its last sample is with the muxer; without one, stops the
    // preview. Returns even when camera or encoder give nothing more.
    status_t stop();
    // Any state: gives the camera up.
    status_t reset();

    // Of the present recording or the last one; any thread, without blocking. Times are -1 before
    // the first picture: the last one given to the encoder, the last one handed to the muxer.
    int64_t capturedTimeUs() const { return mRecording.mCapturedTimeUs; }
    int64_t lastTimeUs() const { return mTrackEncoder.lastTimeUs(); }
    int64_t writtenFrames() const { return mTrackEncoder.writtenSamples(); }
    // Pictures that the target rate has no room for.
    int64_t thinnedFrames() const { return mRecording.mThinnedFrames; }

    void onMessageReceived(const sp<AMessage>& msg) override;

    void handleEncoderInputBuffer(uint32_t index) override;
    void handleEncoderOutputBuffer(uint32_t index, uint32_t offset, uint32_t size, int64_t timeUs,
                                   int32_t flags) override;
    void handleEncoderOutputFormatChange(const sp<AMessage>& format) override;
    void handleEncoderError(int32_t err, int32_t actionCode, const char* detail) override;

    enum {
        // Answered with an empty reply: this recorder takes no pictures.
        kWhatGetCameraSnapshot = 0x1000,
        // Answered with "camera-param".
        kWhatGetCameraParam = 0x1001,
    };

  protected:
    ~CameraRecorder() override;

  private:
    class Puller;

    enum {
        kWhatPullerNotify = 0,
        kWhatSetDataSource = 1,
        kWhatSetCamera = 2,
        kWhatSetSurface = 3,
        kWhatSetMuxer = 4,
        kWhatConfigure = 5,
        kWhatPrepare = 7,
        kWhatSetPlayback = 8,
        kWhatSetRecord = 9,
        kWhatStart = 10,
        kWhatStop = 11,
        kWhatReset = 12,
    };

    enum State {
        UNINITIALIZED = 0,
        WAIT_SURFACE = 1,
        INITIALIZED = 4,
        CONFIGURED = 5,
        PREPARED = 6,
        STARTED = 7,
        STOPPED = 8,
    };

    enum CameraType { kCameraTypeHdmiRx = 1 };

    // The hand-shake between stop() and the end of a recording.
    struct StopProcess {
        bool mEOSQueued = false;      // the end of the stream was given to the encoder
        bool mStopRequested = false;  // stop() is waiting
        Condition mCondition;         // monotonic
    };

    // What the HDMI receiver delivers, as HdmiRxInfo tells it.
    struct VideoSource {
        int32_t isHdmiRx;
        int32_t ready;
        int32_t progressive;
        int32_t color;
        int32_t width;
        int32_t height;
        int32_t frameRate;
    };

    void onSetDataSource(const sp<AMessage>& msg);
    void onSetCamera(const sp<AMessage>& msg);
    void onSetSurface(const sp<AMessage>& msg);
    void onSetMuxer(const sp<AMessage>& msg);
    void onConfigure(const sp<AMessage>& msg);
    status_t onPrepare();
    void onSetPlayback(bool enable);
    status_t onSetRecord(bool enable);
    status_t onStart();
    void onStop();
    void onReset();
    void onGetCameraParam(const sp<AMessage>& msg);

    // Preparing the camera.
    status_t connectCamera();
    status_t retrieveHdmiRxVideoInfo();
    status_t adaptPreviewToHdmiRx();
    bool isPreviewSizeSupported() const;
    void setPreviewFrameRate();
    void stopPreview();

    // A recording.
    status_t requestRecord(int flag);
    status_t startRecording();
    status_t setupCameraSource();
    status_t setupVideoEncoder();
    sp<AMessage> buildEncoderFormat();
    void readInputFormat();
    bool takeFrame(MediaBufferBase** frame) REQUIRES(mStopLock);
    void queueFrame(uint32_t index, MediaBufferBase* frame) REQUIRES(mStopLock);
    void waitForEnd() REQUIRES(mStopLock);
    bool endIsOverdue(int64_t waitStartUs);
    void forceEnd();
    void signalEOS();
    void endRecording();
    void dropRecording();
    void releaseEncoder();
    void releaseCameraSource();

    int64_t mFirstFrameTimeUs = -1;
    Mutex mStopLock;  // also serialises the encoder's input callback
    StopProcess mStopProcess GUARDED_BY(mStopLock);
    Mutex mPollLock;
    Condition mPollCond;  // monotonic; never signalled
    int32_t mCameraId = 0;
    VideoSource mSrc{};
    int32_t mPreviewWidth = 0;
    int32_t mPreviewHeight = 0;
    int32_t mPreviewFps = 0;
    bool mIsHdmiRx = false;
    bool mPlayback = false;
    std::atomic<bool> mRecord{false};
    bool mHasInputFormat = false;
    int32_t mPixelFormat = 0;
    int32_t mDataSpace = 0;
    String16 mClientName;
    int32_t mClientUid = 0;
    int32_t mClientPid = 0;
    CameraParameters mParams;
    sp<Camera> mCamera;
    sp<CameraSource> mCameraSource;
    sp<Surface> mSurface;
    sp<Puller> mPuller;
    sp<MediaCodec> mEncoder;
    sp<OxaMediaMuxer> mMuxer;
    sp<ALooper> mEncoderLooper;
    sp<ALooper> mCBLooper;
    sp<EncodeCBHandler> mEncodeCBHandler;
    _AV_FORMAT_FORMAT* mTargetFormat = NULL;
    ssize_t mVideoTrackIndex = -1;
    int32_t mMetaDataType = 0;
    std::atomic<int> mState{UNINITIALIZED};

    CameraRecording mRecording;
    TrackEncoder mTrackEncoder;
    std::unique_ptr<HdmiRxInfo::User> mInfoUser;
};

}  // namespace android
