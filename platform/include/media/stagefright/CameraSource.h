// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <camera/Camera.h>
#include <camera/CameraParameters.h>
#include <camera/ICameraRecordingProxy.h>
#include <media/hardware/MetadataBufferType.h>
#include <media/stagefright/MediaBufferBase.h>
#include <media/stagefright/MediaSource.h>
#include <media/stagefright/MetaData.h>
#include <sys/types.h>
#include <utils/Condition.h>
#include <utils/List.h>
#include <utils/Mutex.h>
#include <utils/String16.h>

namespace android {

class RegisteredCamera;

// A camera as a track: each buffer that read() gives is a record (VideoNativeMetadata) that refers
// to one picture. A fixed number of pictures is on the way at a time: as long as buffers are not
// released, the camera drops what it captures. All calls are thread-safe; read() may run beside
// stop().
class CameraSource : public MediaSource, public MediaBufferObserver {
  public:
    ~CameraSource() override;

    // Records from `camera` (an opened one, whose `proxy` must then not be null), or opens camera
    // `cameraId`. Sets the video size (-1 x -1: leaves the current one) and the frame rate (-1:
    // leaves it), and the preview target when `surface` is not null. Never null: see initCheck().
    // Asserts on a frame rate outside 1 to 120, and when the camera lists no rates.
    static CameraSource* CreateFromCamera(const sp<hardware::ICamera>& camera,
                                          const sp<ICameraRecordingProxy>& proxy, int32_t cameraId,
                                          const String16& clientName, uid_t clientUid,
                                          pid_t clientPid, Size videoSize, int32_t frameRate,
                                          const sp<IGraphicBufferProducer>& surface,
                                          bool storeMetaDataInVideoBuffers = true);

    // BAD_VALUE: the camera lacks the size or the rate; -EBUSY: it refuses the settings; NO_INIT:
    // there is no camera; ERROR_UNSUPPORTED: without metadata, which cameras here cannot do.
    virtual status_t initCheck() const;

    // Starts recording. `params` may hold kKeyTime (microseconds of the monotonic clock: earlier
    // pictures are left out and times count from it) and kKeyNumBuffers (at most so many pictures
    // are on the way). Asserts when started already.
    status_t start(MetaData* params = nullptr) override;

    // Drops what was not read, waits for every buffer that was, and ends the recording. A buffer
    // that is never released makes it wait for ever.
    status_t stop() override;

    // Waits for a picture, however long it takes, and says so every 3 s. OK with a null buffer when
    // the source is stopped; ERROR_END_OF_STREAM when the camera is lost, has ended or was
    // disconnected, or the stop time is reached, after the last picture was read. kKeyTime of the
    // buffer counts from the first picture.
    status_t read(MediaBufferBase** buffer, const ReadOptions* options = nullptr) override;

    // On the monotonic clock, in microseconds; negative: none.
    status_t setStopTimeUs(int64_t stopTimeUs) override;

    // The same object each time; null when initialisation failed early.
    sp<MetaData> getFormat() override;

    // kMetadataBufferTypeANWBuffer.
    MetadataBufferType metaDataStoredInVideoBuffers() const;

    // MediaBufferObserver
    void signalBufferReturned(MediaBufferBase* buffer) override;

  private:
    class VideoQueue;
    struct Frame;

    CameraSource(const sp<ICameraRecordingProxy>& proxy, int32_t frameRate);

    status_t init(const sp<hardware::ICamera>& camera, int32_t cameraId, const String16& clientName,
                  uid_t clientUid, pid_t clientPid, Size videoSize,
                  const sp<IGraphicBufferProducer>& surface, bool storeMetaDataInVideoBuffers);
    status_t configureCamera(Size videoSize);
    status_t setSize(CameraParameters* params, Size videoSize) const;
    status_t setFrameRate(CameraParameters* params) const;
    status_t checkSettings();
    void makeFormat(const CameraParameters& params);

    status_t startRecording(const sp<IGraphicBufferProducer>& target);
    void releaseCamera();
    void takePictures();
    bool isTimelyLocked(int64_t timeUs) REQUIRES(mLock);
    bool hasEndedLocked() const REQUIRES(mLock);

    void tellPictureStart(int64_t timeUs) const;

    const sp<ICameraRecordingProxy> mRecordingProxy;  // null: the camera is this object's own
    const int32_t mWantedFrameRate;
    // Set by init, constant afterwards.
    status_t mInitCheck = NO_INIT;
    sp<Camera> mCamera;
    sp<RegisteredCamera> mRegistered;  // hears when its recording begins; may be null
    sp<MetaData> mFormat;

    mutable Mutex mLock;
    Condition mFrameAvailable;
    Condition mFrameReturned;
    sp<VideoQueue> mVideoQueue GUARDED_BY(mLock);  // null: not started
    List<Frame*> mFrames GUARDED_BY(mLock);        // not read yet
    size_t mFramesOut GUARDED_BY(mLock) = 0;       // with whoever reads
    bool mStarted GUARDED_BY(mLock) = false;
    int64_t mStartTimeUs GUARDED_BY(mLock) = 0;
    int64_t mStopTimeUs GUARDED_BY(mLock) = -1;
    int64_t mFirstTimeUs GUARDED_BY(mLock) = -1;
    int64_t mLastTimeUs GUARDED_BY(mLock) = -1;
    bool mStopTimeReached GUARDED_BY(mLock) = false;
};

}  // namespace android
