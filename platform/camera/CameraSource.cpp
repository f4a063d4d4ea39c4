// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "CameraSource"

#include <log/log.h>
#include <media/hardware/HardwareAPI.h>
#include <media/stagefright/CameraSource.h>
#include <media/stagefright/MediaBuffer.h>
#include <media/stagefright/foundation/ADebug.h>
#include <string.h>

#include <cerrno>

#include "base/AnnotatedMutex.h"
#include "camera/CameraRegistry.h"
#include "graphics/LocalBufferProducer.h"
#include "graphics/PictureBuffer.h"

namespace android {

namespace {

constexpr int32_t kColorFormatOpaque = 0x7F000789;
// Half a second at 30 pictures a second: what a recording may take to get going.
constexpr int32_t kDefaultPlaces = 15;
constexpr nsecs_t kWarnIntervalNs = 3000000000;

}  // namespace

// One picture on its way, with the record that refers to it.
struct CameraSource::Frame : public VideoNativeMetadata {
    Frame(const sp<Picture>& picture, int64_t time) : timeUs(time) {
        buffer.picture = picture;
        eType = kMetadataBufferTypeANWBuffer;
        pBuffer = &buffer;
        nFenceFd = -1;
    }

    ANativeWindowBuffer buffer;
    const int64_t timeUs;  // as read() tells it
};

// The target that the camera records to.
class CameraSource::VideoQueue : public PictureQueue::ConsumerListener {
  public:
    VideoQueue(CameraSource* source, size_t places)
        : mPictures(new PictureQueue(places)), mSource(source) {
        // Asked for at once, so that the queue ends with its camera.
        mPictures->signalEnd();
    }

    PictureQueue& pictures() { return *mPictures; }
    sp<IGraphicBufferProducer> producer() const { return new LocalBufferProducer(mPictures); }
    void open() { mPictures->setConsumer(this); }

    // The source is not called any more when this returns.
    void close() {
        mPictures->abandon();
        AnnotatedLock lock(mLock);
        mSource = nullptr;
    }

    void onPictureQueued() override {
        AnnotatedLock lock(mLock);
        if (mSource != nullptr) mSource->takePictures();
    }

  private:
    const sp<PictureQueue> mPictures;
    AnnotatedMutex mLock;
    CameraSource* mSource GUARDED_BY(mLock);
};

// ---- Making

CameraSource* CameraSource::CreateFromCamera(const sp<hardware::ICamera>& camera,
                                             const sp<ICameraRecordingProxy>& proxy,
                                             int32_t cameraId, const String16& clientName,
                                             uid_t clientUid, pid_t clientPid, Size videoSize,
                                             int32_t frameRate,
                                             const sp<IGraphicBufferProducer>& surface,
                                             bool storeMetaDataInVideoBuffers) {
    auto* const source = new CameraSource(camera == nullptr ? nullptr : proxy, frameRate);
    source->mInitCheck = source->init(camera, cameraId, clientName, clientUid, clientPid, videoSize,
                                      surface, storeMetaDataInVideoBuffers);
    if (source->mInitCheck != OK) source->releaseCamera();
    return source;
}

CameraSource::CameraSource(const sp<ICameraRecordingProxy>& proxy, int32_t frameRate)
    : mRecordingProxy(proxy), mWantedFrameRate(frameRate) {}

CameraSource::~CameraSource() {
    if (mStarted) {
        CameraSource::stop();
    } else {
        releaseCamera();
    }
}

status_t CameraSource::init(const sp<hardware::ICamera>& camera, int32_t cameraId,
                            const String16& clientName, uid_t clientUid, pid_t clientPid,
                            Size videoSize, const sp<IGraphicBufferProducer>& surface,
                            bool storeMetaDataInVideoBuffers) {
    CHECK(camera == nullptr || mRecordingProxy != nullptr);
    mCamera = camera == nullptr ? Camera::connect(cameraId, clientName, static_cast<int>(clientUid),
                                                  clientPid)
                                : Camera::create(camera);
    if (mCamera == nullptr) return NO_INIT;
    mRegistered = CameraRegistry::instance().findKnown(cameraId);
    const status_t status = configureCamera(videoSize);
    if (status != OK) return status;
    if (surface != nullptr) CHECK_EQ(mCamera->setPreviewTarget(surface), static_cast<status_t>(OK));
    if (!storeMetaDataInVideoBuffers) return ERROR_UNSUPPORTED;
    return mCamera->setVideoBufferMode(hardware::ICamera::VIDEO_BUFFER_MODE_BUFFER_QUEUE);
}

status_t CameraSource::configureCamera(Size videoSize) {
    CameraParameters params(mCamera->getParameters());
    const char* const format = params.get(CameraParameters::KEY_VIDEO_FRAME_FORMAT);
    if (format == nullptr) return BAD_VALUE;
    CHECK(strcmp(format, CameraParameters::PIXEL_FORMAT_ANDROID_OPAQUE) == 0);
    status_t status = setSize(&params, videoSize);
    if (status == OK) status = setFrameRate(&params);
    if (status != OK) return status;
    if (mCamera->setParameters(params.flatten()) != OK) {
        ALOGE("the camera refuses its settings; is somebody else using it?");
        return -EBUSY;
    }
    return checkSettings();
}

status_t CameraSource::setSize(CameraParameters* params, Size videoSize) const {
    if (videoSize.width == -1 && videoSize.height == -1) return OK;
    Vector<Size> sizes;
    params->getSupportedVideoSizes(sizes);
    const bool hasVideoSizes = !sizes.isEmpty();
    if (!hasVideoSizes) params->getSupportedPreviewSizes(sizes);
    for (const Size& size : sizes) {
        if (size.width != videoSize.width || size.height != videoSize.height) continue;
        if (hasVideoSizes) {
            params->setVideoSize(size.width, size.height);
        } else {
            params->setPreviewSize(size.width, size.height);
        }
        return OK;
    }
    ALOGE("the camera has no video of %dx%d", videoSize.width, videoSize.height);
    return BAD_VALUE;
}

status_t CameraSource::setFrameRate(CameraParameters* params) const {
    if (mWantedFrameRate == -1) return OK;
    CHECK(mWantedFrameRate > 0 && mWantedFrameRate <= 120);
    const char* const rates = params->get(CameraParameters::KEY_SUPPORTED_PREVIEW_FRAME_RATES);
    CHECK(rates != nullptr);
    if (strstr(rates, std::to_string(mWantedFrameRate).c_str()) == nullptr) {
        ALOGE("the camera has no %d pictures a second: %s", mWantedFrameRate, rates);
        return BAD_VALUE;
    }
    params->setPreviewFrameRate(mWantedFrameRate);
    return OK;
}

// What the camera has made of the settings.
status_t CameraSource::checkSettings() {
    const CameraParameters params(mCamera->getParameters());
    if (mWantedFrameRate != -1 && params.getPreviewFrameRate() != mWantedFrameRate) {
        ALOGE("the camera has set %d pictures a second instead of %d", params.getPreviewFrameRate(),
              mWantedFrameRate);
        return UNKNOWN_ERROR;
    }
    makeFormat(params);
    return OK;
}

void CameraSource::makeFormat(const CameraParameters& params) {
    Size size;
    params.getVideoSize(&size.width, &size.height);
    if (size.width < 0) params.getPreviewSize(&size.width, &size.height);
    mFormat = new MetaData;
    mFormat->setCString(kKeyMIMEType, "video/raw");
    mFormat->setInt32(kKeyColorFormat, kColorFormatOpaque);
    mFormat->setInt32(kKeyWidth, size.width);
    mFormat->setInt32(kKeyHeight, size.height);
    mFormat->setInt32(kKeyStride, size.width);
    mFormat->setInt32(kKeySliceHeight, size.height);
    mFormat->setInt32(kKeyFrameRate, params.getPreviewFrameRate());
}

status_t CameraSource::initCheck() const {
    return mInitCheck;
}

sp<MetaData> CameraSource::getFormat() {
    return mFormat;
}

MetadataBufferType CameraSource::metaDataStoredInVideoBuffers() const {
    return mInitCheck == OK ? kMetadataBufferTypeANWBuffer : kMetadataBufferTypeInvalid;
}

// ---- Start and stop

status_t CameraSource::start(MetaData* params) {
    int32_t places = kDefaultPlaces;
    sp<VideoQueue> queue;
    {
        Mutex::Autolock lock(mLock);
        CHECK(!mStarted);
        if (mInitCheck != OK || mCamera == nullptr) return NO_INIT;
        mStartTimeUs = 0;
        int64_t startTimeUs = 0;
        int32_t wantedPlaces = 0;
        if (params != nullptr && params->findInt64(kKeyTime, &startTimeUs)) {
            mStartTimeUs = startTimeUs;
        }
        if (params != nullptr && params->findInt32(kKeyNumBuffers, &wantedPlaces)) {
            CHECK_GT(wantedPlaces, 0);
            places = wantedPlaces;
        }
        mStarted = true;
        tellPictureStart(RegisteredCamera::kNoPictureYet);
        queue = new VideoQueue(this, static_cast<size_t>(places));
        queue->open();
        mVideoQueue = queue;
    }
    const status_t status = startRecording(queue->producer());
    if (status == OK) return OK;
    Mutex::Autolock lock(mLock);
    mStarted = false;
    return status;
}

status_t CameraSource::startRecording(const sp<IGraphicBufferProducer>& target) {
    const status_t status = mCamera->setVideoTarget(target);
    if (status != OK) return status;
    return mRecordingProxy != nullptr ? mRecordingProxy->startRecording(nullptr)
                                      : mCamera->startRecording();
}

status_t CameraSource::stop() {
    {
        Mutex::Autolock lock(mLock);
        if (!mStarted) return OK;
        mStarted = false;
        tellPictureStart(RegisteredCamera::kNotRecorded);
        mFrameAvailable.broadcast();
        for (Frame* frame : mFrames) {
            delete frame;
            mVideoQueue->pictures().release();
        }
        mFrames.clear();
        while (mFramesOut > 0) {
            if (mFrameReturned.waitRelative(mLock, kWarnIntervalNs) != OK) {
                ALOGW("waiting for %zu pictures to be released", mFramesOut);
            }
        }
    }
    if (mRecordingProxy != nullptr) {
        mRecordingProxy->stopRecording();
    } else {
        mCamera->stopRecording();
    }
    releaseCamera();
    return OK;
}

// A camera that was handed in stays as it is.
void CameraSource::releaseCamera() {
    sp<VideoQueue> queue;
    sp<Camera> camera;
    {
        Mutex::Autolock lock(mLock);
        queue = mVideoQueue;
        camera = mCamera;
        mVideoQueue.clear();
        mCamera.clear();
    }
    if (queue != nullptr) queue->close();
    if (camera == nullptr || mRecordingProxy != nullptr) return;
    camera->stopPreview();
    camera->disconnect();
}

status_t CameraSource::setStopTimeUs(int64_t stopTimeUs) {
    Mutex::Autolock lock(mLock);
    mStopTimeUs = stopTimeUs;
    return OK;
}

// ---- Pictures

// On the camera's thread.
void CameraSource::takePictures() {
    Mutex::Autolock lock(mLock);
    if (mVideoQueue == nullptr) return;
    QueuedPicture queued;
    while (mVideoQueue->pictures().tryAcquire(&queued)) {
        const int64_t timeUs = queued.timestampNs / 1000;
        if (mStarted && isTimelyLocked(timeUs)) {
            mFrames.push_back(new Frame(queued.picture, timeUs - mFirstTimeUs));
        } else {
            mVideoQueue->pictures().release();
        }
    }
    mFrameAvailable.broadcast();
}

// To the sound of the same device.
void CameraSource::tellPictureStart(int64_t timeUs) const {
    if (mRegistered != nullptr) mRegistered->setRecordedFromUs(timeUs);
}

bool CameraSource::isTimelyLocked(int64_t timeUs) {
    if (mStopTimeUs >= 0 && timeUs >= mStopTimeUs) mStopTimeReached = true;
    if (mStopTimeReached || timeUs < mStartTimeUs) return false;
    if (mLastTimeUs >= 0 && timeUs <= mLastTimeUs) return false;
    if (mLastTimeUs < 0) {
        mFirstTimeUs = mStartTimeUs > 0 ? mStartTimeUs : timeUs;
        tellPictureStart(mFirstTimeUs);
    }
    mLastTimeUs = timeUs;
    return true;
}

bool CameraSource::hasEndedLocked() const {
    return mStopTimeReached || mVideoQueue->pictures().atEnd();
}

status_t CameraSource::read(MediaBufferBase** buffer, const ReadOptions* options) {
    *buffer = nullptr;
    int64_t seekTimeUs;
    ReadOptions::SeekMode mode;
    if (options != nullptr && options->getSeekTo(&seekTimeUs, &mode)) return ERROR_UNSUPPORTED;

    Mutex::Autolock lock(mLock);
    while (mStarted && mFrames.empty() && !hasEndedLocked()) {
        if (mFrameAvailable.waitRelative(mLock, kWarnIntervalNs) != OK) {
            ALOGW("no picture for %d s", static_cast<int>(kWarnIntervalNs / 1000000000));
        }
    }
    if (!mStarted) return OK;
    if (mFrames.empty()) return ERROR_END_OF_STREAM;
    Frame* const frame = *mFrames.begin();
    mFrames.erase(mFrames.begin());
    ++mFramesOut;
    VideoNativeMetadata* const record = frame;
    auto* const result = new MediaBuffer(record, sizeof(*record));
    result->setObserver(this);
    result->add_ref();
    result->meta_data().setInt64(kKeyTime, frame->timeUs);
    *buffer = result;
    return OK;
}

void CameraSource::signalBufferReturned(MediaBufferBase* buffer) {
    auto* const record = static_cast<VideoNativeMetadata*>(buffer->data());
    buffer->setObserver(nullptr);
    buffer->release();
    delete static_cast<Frame*>(record);
    Mutex::Autolock lock(mLock);
    mVideoQueue->pictures().release();
    --mFramesOut;
    mFrameReturned.signal();
}

}  // namespace android
