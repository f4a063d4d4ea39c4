// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "CameraRecorder"

#include "CameraRecorder.h"

#include <binder/IPCThreadState.h>
#include <utils/String8.h>

#include <string.h>

#include <algorithm>

#include "CameraPuller.h"
#include "FixedSites.h"
#include "HdmiRxInfo.h"

namespace android {

namespace {

// The receiver is always driven at this rate, whatever the driver tells.
constexpr int32_t kHdmiRxFrameRate = 30;

constexpr auto kTrackKind =
        TrackEncoder::Kind::video(LOG_TAG, sites::CameraRecorder::kEncoderTexts);

}  // namespace

CameraRecorder::CameraRecorder()
    : mClientName("CameraRecorder"),
      mTrackEncoder(kTrackKind, {mEncoder, mMuxer, mEncoderLooper, mCBLooper, mEncodeCBHandler,
                                 mVideoTrackIndex}) {}

CameraRecorder::~CameraRecorder() {
    mState = UNINITIALIZED;
    dropRecording();
    if (mCamera != NULL) mCamera->disconnect();
}

// ---- Public calls ------------------------------------------------------------------------------

status_t CameraRecorder::setDataSource(int cameraType, int cameraId, const String16& clientName) {
    ALOGD("%s[%d]: cameraType=%d, cameraId=%d, clientName=%s",
          SITE(sites::CameraRecorder::kSetDataSource), cameraType, cameraId,
          String8(clientName).c_str());
    sp<AMessage> msg = new AMessage(kWhatSetDataSource, this);
    msg->setInt32(AMSG_CAMERA_TYPE, cameraType);
    msg->setInt32(AMSG_CAMERA_ID, cameraId);
    msg->setPointer(AMSG_CLIENT_NAME, const_cast<String16*>(&clientName));
    return postRequest(msg);
}

status_t CameraRecorder::setDataSource(int cameraType, const sp<hardware::ICamera>& camera,
                                       const String16& clientName) {
    ALOGD("%s[%d]: cameraType=%d, clientName=%s", SITE(sites::CameraRecorder::kSetCamera),
          cameraType, String8(clientName).c_str());
    sp<AMessage> msg = new AMessage(kWhatSetCamera, this);
    msg->setInt32(AMSG_CAMERA_TYPE, cameraType);
    msg->setPointer(AMSG_CLIENT_NAME, const_cast<String16*>(&clientName));
    msg->setPointer(AMSG_CAMERA_SP, camera.get());
    return postRequest(msg);
}

status_t CameraRecorder::setSurface(const sp<Surface>& surface) {
    ALOGD("%s[%d]", SITE(sites::CameraRecorder::kSetSurface));
    return postRequest(newRequest(kWhatSetSurface, this, AMSG_SURFACE, surface));
}

status_t CameraRecorder::setMuxer(const sp<OxaMediaMuxer>& muxer) {
    ALOGD("%s[%d]", SITE(sites::CameraRecorder::kSetMuxer));
    return postRequest(newRequest(kWhatSetMuxer, this, AMSG_MUXER, muxer));
}

status_t CameraRecorder::configure(_AV_FORMAT_FORMAT& format) {
    logVideoTarget(LOG_TAG, format);
    return postRequest(newPointerRequest(kWhatConfigure, this, AMSG_TARTGET_FORMAT, &format));
}

status_t CameraRecorder::prepare() {
    ALOGD("%s[%d]", SITE(sites::CameraRecorder::kPrepare));
    return postRequest(new AMessage(kWhatPrepare, this));
}

status_t CameraRecorder::setPlayback(int flag) {
    ALOGD("%s[%d]: flag=%d", SITE(sites::CameraRecorder::kSetPlayback), flag);
    return postRequest(newRequest(kWhatSetPlayback, this, AMSG_SET_RENDER_VIDEO, flag));
}

status_t CameraRecorder::setRecord(int flag) {
    status_t err = requestRecord(flag);
    // An encoder that has failed gives no end any more; one that fails from now on ends it itself.
    if (flag == 0 && mRecording.hasFailed()) forceEnd();
    return err;
}

status_t CameraRecorder::requestRecord(int flag) {
    ALOGD("%s[%d]: flag=%d", SITE(sites::CameraRecorder::kSetRecord), flag);
    return postRequest(newRequest(kWhatSetRecord, this, AMSG_SET_TRANSCODE, flag));
}

status_t CameraRecorder::start() {
    ALOGD("%s[%d]", SITE(sites::CameraRecorder::kStart));
    return postRequest(new AMessage(kWhatStart, this));
}

status_t CameraRecorder::stop() {
    ALOGD("%s[%d]", SITE(sites::CameraRecorder::kStop));
    {
        // A recording that was switched off may still be on its way through the encoder. Its end
        // is reported under this lock: whoever sees it here comes behind the report.
        Mutex::Autolock lock(mStopLock);
        if (mRecord || mRecording.isOpen()) {
            mStopProcess.mStopRequested = true;
            status_t err = requestRecord(0);
            waitForEnd();
            return err;
        }
    }
    return postRequest(new AMessage(kWhatStop, this));
}

status_t CameraRecorder::reset() {
    ALOGD("%s[%d]", SITE(sites::CameraRecorder::kReset));
    return postRequest(new AMessage(kWhatReset, this));
}

// ---- Commands ----------------------------------------------------------------------------------

void CameraRecorder::onMessageReceived(const sp<AMessage>& msg) {
    int32_t enable;
    status_t err = OK;
    switch (msg->what()) {
        case kWhatPullerNotify:
            // The encoder's input callback takes the frames by itself.
            return;
        case kWhatSetDataSource:
            onSetDataSource(msg);
            break;
        case kWhatSetCamera:
            onSetCamera(msg);
            break;
        case kWhatSetSurface:
            onSetSurface(msg);
            break;
        case kWhatSetMuxer:
            onSetMuxer(msg);
            break;
        case kWhatConfigure:
            onConfigure(msg);
            break;
        case kWhatPrepare:
            CHECK(mState == CONFIGURED);
            err = onPrepare();
            if (err == OK) mState = PREPARED;
            break;
        case kWhatSetPlayback:
            CHECK(msg->findInt32(AMSG_SET_RENDER_VIDEO, &enable));
            onSetPlayback(enable != 0);
            break;
        case kWhatSetRecord:
            CHECK(msg->findInt32(AMSG_SET_TRANSCODE, &enable));
            err = onSetRecord(enable != 0);
            break;
        case kWhatStart:
            CHECK(mState == PREPARED);
            err = onStart();
            break;
        case kWhatStop:
            CHECK(mState == STARTED);
            onStop();
            break;
        case kWhatReset:
            onReset();
            break;
        case kWhatGetCameraSnapshot:
            reply(msg, new AMessage);
            return;
        case kWhatGetCameraParam:
            onGetCameraParam(msg);
            return;
        default:
            TRESPASS_SITE(sites::CameraRecorder::kUnknownRequest);
    }
    replyWithError(msg, err);
}

void CameraRecorder::onSetDataSource(const sp<AMessage>& msg) {
    CHECK(mState == UNINITIALIZED);
    int32_t cameraType;
    void* clientName;
    CHECK(msg->findInt32(AMSG_CAMERA_TYPE, &cameraType));
    CHECK(msg->findInt32(AMSG_CAMERA_ID, &mCameraId));
    CHECK(msg->findPointer(AMSG_CLIENT_NAME, &clientName));
    mClientName = *static_cast<String16*>(clientName);
    if (cameraType != kCameraTypeHdmiRx && mCameraId != 1) {
        int32_t numCamera = Camera::getNumberOfCameras();
        CHECK(mCameraId >= 0 && mCameraId < numCamera);
    } else {
        // Id 1 means the receiver too, by design; the camera service offers it as camera 0.
        mCameraId = 0;
        mIsHdmiRx = true;
    }
    mState = WAIT_SURFACE;
}

void CameraRecorder::onSetCamera(const sp<AMessage>& msg) {
    CHECK(mState == UNINITIALIZED);
    int32_t cameraType;
    void* clientName;
    void* camera;
    CHECK(msg->findInt32(AMSG_CAMERA_TYPE, &cameraType));
    CHECK(msg->findPointer(AMSG_CLIENT_NAME, &clientName));
    mClientName = *static_cast<String16*>(clientName);
    mClientUid = IPCThreadState::self()->getCallingUid();
    mClientPid = IPCThreadState::self()->getCallingPid();
    mIsHdmiRx = cameraType == kCameraTypeHdmiRx;
    CHECK(msg->findPointer(AMSG_CAMERA_SP, &camera));
    // The caller waits with a reference of its own.
    sp<hardware::ICamera> shared = static_cast<hardware::ICamera*>(camera);
    mCamera = Camera::create(shared);
    mState = WAIT_SURFACE;
}

void CameraRecorder::onSetSurface(const sp<AMessage>& msg) {
    CHECK(mState == WAIT_SURFACE);
    sp<RefBase> obj;
    CHECK(msg->findObject(AMSG_SURFACE, &obj));
    mSurface = static_cast<Surface*>(obj.get());
    CHECK(mSurface != NULL);
    mState = INITIALIZED;
}

void CameraRecorder::onSetMuxer(const sp<AMessage>& msg) {
    sp<RefBase> obj;
    CHECK(msg->findObject(AMSG_MUXER, &obj));
    mMuxer = static_cast<OxaMediaMuxer*>(obj.get());
}

void CameraRecorder::onConfigure(const sp<AMessage>& msg) {
    CHECK(mState == INITIALIZED || mState == STARTED);
    void* format;
    CHECK(msg->findPointer(AMSG_TARTGET_FORMAT, &format));
    mTargetFormat = static_cast<_AV_FORMAT_FORMAT*>(format);
    if (mState != STARTED) mState = CONFIGURED;
}

// The preview runs from start() on whatever is asked for; before that nothing is remembered.
void CameraRecorder::onSetPlayback(bool enable) {
    if (mState != STARTED || enable == mPlayback) return;
    mPlayback = enable;
    if (enable) {
        mCamera->startPreview();
    } else {
        mCamera->stopPreview();
    }
}

status_t CameraRecorder::onStart() {
    if (mCamera == NULL) return INVALID_OPERATION;
    // Whatever mPlayback says: the capture source draws its frames from the running preview.
    status_t err = mCamera->startPreview();
    if (err == OK) mState = STARTED;
    return err;
}

void CameraRecorder::onStop() {
    mState = STOPPED;
    stopPreview();
}

void CameraRecorder::stopPreview() {
    if (mCamera != NULL && mCamera->previewEnabled()) mCamera->stopPreview();
}

void CameraRecorder::onReset() {
    if (mState != STOPPED) stopPreview();
    // Nobody has stopped it; a camera that goes would leave it without an end.
    mState = UNINITIALIZED;
    mRecord = false;
    if (mRecording.isOpen() || mEncoder != NULL) dropRecording();
    mInfoUser.reset();
    if (mCamera != NULL) {
        mCamera->disconnect();
        mCamera.clear();
    }
    mSurface.clear();
}

void CameraRecorder::onGetCameraParam(const sp<AMessage>& msg) {
    if (mCamera == NULL) {
        ALOGE("call camera connect at kWhatGetCameraParam, should not reach here under service "
              "mode");
        connectCamera();
    }
    sp<AMessage> response = new AMessage;
    response->setString(AMSG_CAMERA_PARAM, mCamera != NULL ? mCamera->getParameters().c_str() : "");
    reply(msg, response);
}

// ---- Preparing the camera ----------------------------------------------------------------------

status_t CameraRecorder::connectCamera() {
    mCamera = Camera::connect(mCameraId, mClientName, Camera::USE_CALLING_UID,
                              Camera::USE_CALLING_PID);
    return mCamera != NULL ? OK : NO_INIT;
}

status_t CameraRecorder::onPrepare() {
    if (mTargetFormat != NULL) {
        mPreviewWidth = mTargetFormat->width;
        mPreviewHeight = mTargetFormat->height;
        mPreviewFps = mTargetFormat->frameRate;
    }
    if (mCamera == NULL) {
        ALOGE(LOG_RED " Call Camera::connect, should not reach here under service mode" LOG_RESET);
        status_t err = connectCamera();
        if (err != OK) return err;
    }
    mParams.unflatten(mCamera->getParameters());
    if (mIsHdmiRx) {
        status_t err = adaptPreviewToHdmiRx();
        if (err != OK) return err;
    }
    if (!isPreviewSizeSupported()) return BAD_VALUE;
    mParams.setPreviewSize(mPreviewWidth, mPreviewHeight);
    setPreviewFrameRate();
    if (mCamera->setParameters(mParams.flatten()) != OK) {
        ALOGE("Could not change settings. Someone else is using camera %p?", mCamera.get());
        return -EBUSY;
    }
    if (mCamera->setPreviewTarget(mSurface->getIGraphicBufferProducer()) != OK) {
        ALOGE("Could not setPreviewTarget");
        return UNKNOWN_ERROR;
    }
    return OK;
}

status_t CameraRecorder::adaptPreviewToHdmiRx() {
    CHECK(retrieveHdmiRxVideoInfo() == OK);
    if (mPreviewWidth >= 1) mPreviewWidth = std::min(mPreviewWidth, mSrc.width);
    if (mPreviewHeight >= 1) mPreviewHeight = std::min(mPreviewHeight, mSrc.height);
    if (mSrc.frameRate < mPreviewFps) {
        ALOGW("Invalid target frame rate(%d) > source frame rate(%d)", mPreviewFps, mSrc.frameRate);
        return BAD_VALUE;
    }
    if (mSrc.frameRate > mPreviewFps) {
        ALOGW("Frames will be dropped because target frame rate(%d) < source frame rate(%d)",
              mPreviewFps, mSrc.frameRate);
        mPreviewFps = mSrc.frameRate;
    }
    ALOGD("Reset preview params: width=%d, height=%d, fps=%d", mPreviewWidth, mPreviewHeight,
          mPreviewFps);
    return OK;
}

status_t CameraRecorder::retrieveHdmiRxVideoInfo() {
    if (mInfoUser == nullptr) mInfoUser = std::make_unique<HdmiRxInfo::User>();
    AutoMutex lock(HdmiRxInfo::sLock);
    const HdmiRxInfo* info = HdmiRxInfo::GetInstance();
    if (info == NULL) return UNKNOWN_ERROR;
    mSrc.isHdmiRx = info->mVideoIsHdmiRx;
    mSrc.ready = info->mVideoReady;
    mSrc.progressive = info->mVideoProgressive;
    mSrc.color = info->mVideoColor;
    mSrc.width = info->mVideoWidth;
    mSrc.height = info->mVideoHeight;
    mSrc.frameRate = kHdmiRxFrameRate;
    ALOGD("HDMI Rx video %dx%d%c%d Color:%d %sReady", mSrc.width, mSrc.height,
          mSrc.progressive ? 'p' : 'i', mSrc.frameRate, mSrc.color, mSrc.ready ? "" : "Not");
    return OK;
}

bool CameraRecorder::isPreviewSizeSupported() const {
    Vector<Size> sizes;
    mParams.getSupportedPreviewSizes(sizes);
    for (size_t i = 0; i < sizes.size(); ++i) {
        if (sizes[i].width != mPreviewWidth || sizes[i].height != mPreviewHeight) continue;
        ALOGD("%s: support size: width=%d, height=%d", __FUNCTION__, mPreviewWidth, mPreviewHeight);
        return true;
    }
    ALOGE("%s: unsupport size: width=%d, height=%d", __FUNCTION__, mPreviewWidth, mPreviewHeight);
    return false;
}

void CameraRecorder::setPreviewFrameRate() {
    const char* supportedFrameRates =
            mParams.get(CameraParameters::KEY_SUPPORTED_PREVIEW_FRAME_RATES);
    CHECK(supportedFrameRates != NULL);
    AString rate = AStringPrintf("%d", mPreviewFps);
    if (strstr(supportedFrameRates, rate.c_str()) == NULL) {
        ALOGE("Requested frame rate (%d) is not supported: %s", mPreviewFps, supportedFrameRates);
    }
    mParams.setPreviewFrameRate(mPreviewFps);
}

}  // namespace android
