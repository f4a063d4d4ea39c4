// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "CameraDevice"

#include "camera/CameraDevice.h"

#include <log/log.h>
#include <oxa/host/FaultListener.h>
#include <pthread.h>

#include <cerrno>
#include <utility>

#include "base/SessionState.h"

namespace android {

namespace {

constexpr int kHighestFrameRate = 120;

using Offer = CameraOutput::Offer;

}  // namespace

sp<CameraDevice> CameraDevice::open(const sp<RegisteredCamera>& camera) {
    if (!camera->tryOpen()) {
        ALOGE("camera %d is in use", camera->number());
        return nullptr;
    }
    CameraAbilities abilities;
    std::string cause;
    int error = 0;
    if (askCameraAbilities(camera->source(), camera->control(), &abilities, &cause, &error)) {
        return new CameraDevice(camera, abilities);
    }
    camera->close();
    report(*camera, true, cause, error);
    return nullptr;
}

bool CameraDevice::hold(const Size& size, int frameRate, std::string* cause) {
    CameraParameters wanted(getParameters());
    wanted.setPreviewSize(size.width, size.height);
    wanted.setPreviewFrameRate(frameRate);
    if (setParameters(wanted.flatten()) != OK) {
        *cause = "it cannot be set so";
        return false;
    }
    AnnotatedLock lock(mLock);
    if (!openReaderLocked(cause)) return false;
    mCamera->setHeld(this);
    return true;
}

CameraDevice::CameraDevice(const sp<RegisteredCamera>& camera, const CameraAbilities& abilities)
    : mCamera(camera),
      mAbilities(abilities),
      mParameters(abilities.parameters()),
      mClock(LiveClock::forSource(camera->source())) {}

CameraDevice::~CameraDevice() {
    CameraDevice::disconnect();
}

// ---- Connection

binder::Status CameraDevice::disconnect() {
    sp<hardware::ICameraClient> client;  // dropped without the locks
    AnnotatedLock lock(mLock);
    if (!mConnected) return binder::Status::ok();
    stopRecordingLocked();
    stopPreviewLocked();
    // Whoever holds it may be there still.
    mReader.reset();
    mConnected = false;
    mPreviewTarget.clear();
    mVideoTarget.clear();
    mCamera->close();
    AnnotatedLock outputLock(mOutputLock);
    client = std::move(mClient);
    return binder::Status::ok();
}

status_t CameraDevice::connect(const sp<hardware::ICameraClient>& client) {
    AnnotatedLock lock(mLock);
    if (!mConnected) return NO_INIT;
    AnnotatedLock outputLock(mOutputLock);
    mClient = client;
    return OK;
}

// All clients are in this process, to which the camera belongs.
status_t CameraDevice::lock() {
    AnnotatedLock lock(mLock);
    return mConnected ? OK : NO_INIT;
}

status_t CameraDevice::unlock() {
    return lock();
}

// ---- Preview

status_t CameraDevice::setPreviewTarget(const sp<IGraphicBufferProducer>& target) {
    AnnotatedLock lock(mLock);
    if (!mConnected) return NO_INIT;
    if (target == mPreviewTarget) return OK;
    mPreviewTarget = target;
    if (!mPreviewing) return OK;
    dropOutput(&mPreviewOutput);
    return connectOutput(target, &mPreviewOutput);
}

void CameraDevice::setPreviewCallbackFlag(int /*flag*/) {}

status_t CameraDevice::setPreviewCallbackTarget(const sp<IGraphicBufferProducer>& /*target*/) {
    return INVALID_OPERATION;
}

status_t CameraDevice::startPreview() {
    AnnotatedLock lock(mLock);
    if (!mConnected) return NO_INIT;
    if (mPreviewing) return OK;
    status_t status = connectOutput(mPreviewTarget, &mPreviewOutput);
    if (status == OK) status = startCaptureLocked();
    if (status != OK) {
        dropOutput(&mPreviewOutput);
        return status;
    }
    mPreviewing = true;
    return OK;
}

void CameraDevice::stopPreview() {
    AnnotatedLock lock(mLock);
    stopPreviewLocked();
}

void CameraDevice::stopPreviewLocked() {
    if (!mPreviewing) return;
    mPreviewing = false;
    dropOutput(&mPreviewOutput);
    if (!mRecording) stopCaptureLocked();
}

bool CameraDevice::previewEnabled() {
    AnnotatedLock lock(mLock);
    return mPreviewing;
}

// ---- Recording

status_t CameraDevice::setVideoBufferMode(int32_t mode) {
    AnnotatedLock lock(mLock);
    if (!mConnected) return NO_INIT;
    return mode == VIDEO_BUFFER_MODE_BUFFER_QUEUE && !mRecording ? OK : INVALID_OPERATION;
}

status_t CameraDevice::setVideoTarget(const sp<IGraphicBufferProducer>& target) {
    AnnotatedLock lock(mLock);
    if (!mConnected) return NO_INIT;
    if (target != mVideoTarget && mRecording) return -EBUSY;
    mVideoTarget = target;
    return OK;
}

status_t CameraDevice::startRecording() {
    AnnotatedLock lock(mLock);
    if (!mConnected) return NO_INIT;
    if (mRecording) return OK;
    if (mVideoTarget == nullptr) return INVALID_OPERATION;
    status_t status = connectOutput(mVideoTarget, &mVideoOutput);
    if (status == OK) status = startCaptureLocked();
    if (status != OK) {
        dropOutput(&mVideoOutput);
        return status;
    }
    mRecording = true;
    return OK;
}

void CameraDevice::stopRecording() {
    AnnotatedLock lock(mLock);
    stopRecordingLocked();
}

void CameraDevice::stopRecordingLocked() {
    if (!mRecording) return;
    mRecording = false;
    dropOutput(&mVideoOutput);
    if (!mPreviewing) stopCaptureLocked();
}

bool CameraDevice::recordingEnabled() {
    AnnotatedLock lock(mLock);
    return mRecording;
}

// Pictures go back through the video target.
void CameraDevice::releaseRecordingFrame(const sp<IMemory>& /*mem*/) {}
void CameraDevice::releaseRecordingFrameHandle(native_handle_t* /*handle*/) {}
void CameraDevice::releaseRecordingFrameHandleBatch(
        const std::vector<native_handle_t*>& /*handles*/) {}

// ---- Settings

status_t CameraDevice::setParameters(const String8& params) {
    AnnotatedLock lock(mLock);
    if (!mConnected) return NO_INIT;
    const CameraParameters wanted(params);
    const status_t status = checkParametersLocked(wanted);
    if (status != OK) return status;
    // One that is held was opened for what it is no longer to be.
    if (isChangeLocked(wanted)) mReader.reset();
    mParameters = wanted;
    return OK;
}

status_t CameraDevice::checkParametersLocked(const CameraParameters& wanted) const {
    Size preview;
    Size video;
    wanted.getPreviewSize(&preview.width, &preview.height);
    wanted.getVideoSize(&video.width, &video.height);
    const int rate = wanted.getPreviewFrameRate();
    if (!mAbilities.hasPreviewSize(preview.width, preview.height) ||
        !mAbilities.hasVideoSize(video.width, video.height) || rate < 1 ||
        rate > kHighestFrameRate) {
        ALOGE("camera %d cannot be set to %dx%d, video %dx%d, %d pictures a second",
              mCamera->number(), preview.width, preview.height, video.width, video.height, rate);
        return BAD_VALUE;
    }
    return isChangeLocked(wanted) && mThread.joinable() ? -EBUSY : OK;
}

// Of what the source is opened for.
bool CameraDevice::isChangeLocked(const CameraParameters& wanted) const {
    Size preview;
    Size current;
    wanted.getPreviewSize(&preview.width, &preview.height);
    mParameters.getPreviewSize(&current.width, &current.height);
    return preview.width != current.width || preview.height != current.height ||
           wanted.getPreviewFrameRate() != mParameters.getPreviewFrameRate();
}

String8 CameraDevice::getParameters() const {
    AnnotatedLock lock(mLock);
    return mConnected ? mParameters.flatten() : String8();
}

status_t CameraDevice::sendCommand(int32_t /*cmd*/, int32_t /*arg1*/, int32_t /*arg2*/) {
    AnnotatedLock lock(mLock);
    return mConnected ? BAD_VALUE : NO_INIT;
}

status_t CameraDevice::autoFocus() {
    return INVALID_OPERATION;
}

status_t CameraDevice::cancelAutoFocus() {
    return INVALID_OPERATION;
}

status_t CameraDevice::takePicture(int /*msgType*/) {
    return INVALID_OPERATION;
}

status_t CameraDevice::setAudioRestriction(int32_t /*mode*/) {
    return INVALID_OPERATION;
}

int32_t CameraDevice::getGlobalAudioRestriction() {
    return 0;
}

// ---- Capture

bool CameraDevice::openReaderLocked(std::string* cause) {
    LiveOptions options;
    options.source = mCamera->source();
    options.clock = mClock;
    options.control = mCamera->control();
    options.repeat = mCamera->repeat();
    options.frameRate = mParameters.getPreviewFrameRate();
    mParameters.getPreviewSize(&options.width, &options.height);
    mReader = LiveReader::open(options, cause);
    return mReader != nullptr;
}

status_t CameraDevice::startCaptureLocked() {
    if (mThread.joinable()) return OK;
    std::string cause;
    if (mReader == nullptr && !openReaderLocked(&cause)) {
        report(*mCamera, true, cause, 0);
        return UNKNOWN_ERROR;
    }
    {
        AnnotatedLock lock(mOutputLock);
        mEnded = false;
    }
    mReader->start();
    mThread = std::thread(oxa::host::inSession([this] { capture(); }));
    return OK;
}

void CameraDevice::stopCaptureLocked() {
    if (!mThread.joinable()) return;
    mReader->interrupt();
    mThread.join();
    mReader.reset();
}

// Nothing for a target that is null.
status_t CameraDevice::connectOutput(const sp<IGraphicBufferProducer>& target,
                                     sp<CameraOutput>* output) {
    if (target == nullptr) return OK;
    status_t status = OK;
    const sp<CameraOutput> connected = CameraOutput::connect(target, &status);
    if (status != OK) return status;
    bool ended;
    {
        AnnotatedLock lock(mOutputLock);
        *output = connected;
        ended = mEnded && mReader != nullptr;
    }
    if (ended) connected->finish();
    return OK;
}

void CameraDevice::dropOutput(sp<CameraOutput>* output) {
    sp<CameraOutput> dropped;
    {
        AnnotatedLock lock(mOutputLock);
        dropped = *output;
        output->clear();
    }
    if (dropped != nullptr) dropped->disconnect();
}

void CameraDevice::capture() {
    pthread_setname_np(pthread_self(), "camera");
    for (;;) {
        LiveBlock block;
        const LiveResult result = mReader->read(&block);
        if (result == LiveResult::kInterrupted) return;
        if (result != LiveResult::kOk) {
            onSourceEnded(result == LiveResult::kLost);
            return;
        }
        deliver(block);
    }
}

void CameraDevice::deliver(const LiveBlock& block) {
    sp<CameraOutput> preview;
    sp<CameraOutput> video;
    {
        AnnotatedLock lock(mOutputLock);
        preview = mPreviewOutput;
        video = mVideoOutput;
    }
    const int64_t timeNs = block.timeUs * 1000;
    Offer recorded = Offer::kDisconnected;
    Offer shown = Offer::kDisconnected;
    if (video != nullptr) recorded = video->offer(block.picture, timeNs, block.format);
    if (preview != nullptr) shown = preview->offer(block.picture, timeNs, block.format);
    countDelivered(recorded, shown);
}

void CameraDevice::countDelivered(Offer recorded, Offer shown) {
    mCamera->changeFigures([&](RegisteredCamera::Figures* figures) {
        ++figures->captured;
        figures->late = mReader->late();
        if (recorded == Offer::kTaken) ++figures->recorded;
        if (recorded == Offer::kDropped) ++figures->recordingDropped;
        if (shown == Offer::kDropped) ++figures->previewDropped;
    });
    if (recorded != Offer::kDropped) return;
    {
        AnnotatedLock lock(mOutputLock);
        if (mDropReported) return;
        mDropReported = true;
    }
    report(*mCamera, false, "pictures are dropped, the recorder is too slow", 0);
}

void CameraDevice::onSourceEnded(bool lost) {
    sp<CameraOutput> preview;
    sp<CameraOutput> video;
    sp<hardware::ICameraClient> client;
    {
        AnnotatedLock lock(mOutputLock);
        mEnded = true;
        preview = mPreviewOutput;
        video = mVideoOutput;
        client = mClient;
    }
    mCamera->changeFigures([](RegisteredCamera::Figures* figures) { figures->ended = true; });
    if (video != nullptr) video->finish();
    if (preview != nullptr) preview->finish();
    report(*mCamera, true, lost ? mReader->errorText() : "the source has ended", mReader->error());
    if (!lost || client == nullptr) return;
    client->notifyCallback(CAMERA_MSG_ERROR, CAMERA_ERROR_SERVER_DIED, 0);
}

void CameraDevice::report(const RegisteredCamera& camera, bool ended, const std::string& cause,
                          int error) {
    oxa::host::Fault fault;
    fault.source = oxa::host::FaultSource::kCamera;
    fault.ended = ended;
    fault.object = camera.source();
    fault.cause = cause;
    fault.error = error;
    oxa::host::reportFault(fault);
}

}  // namespace android
