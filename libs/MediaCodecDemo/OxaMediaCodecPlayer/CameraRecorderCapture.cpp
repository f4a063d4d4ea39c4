// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// The recorder's recordings: capture source and encoder, what flows between them, and their end.

#define LOG_TAG "CameraRecorder"

#include <media/MediaBufferHolder.h>
#include <media/MediaCodecBuffer.h>
#include <media/stagefright/foundation/MediaDefs.h>
#include <mediadrm/ICrypto.h>
#include <string.h>
#include <utils/Timers.h>

#include <algorithm>

#include "CameraPuller.h"
#include "CameraRecorder.h"
#include "FixedSites.h"

// For assertions of code that several pipelines share.
#define HERE (sites::CheckSite{sites::CameraRecorder::kFile, __LINE__})

namespace android {

namespace {

constexpr int32_t kColorFormatSurface = 0x7F000789;
constexpr int32_t kDefaultFrameRate = 24;
constexpr int32_t kDefaultBitsPerPixel = 15;
constexpr uint32_t kMaxDeinterlaceMode = 2;
constexpr int32_t kPixelFormatImplementationDefined = 34;
constexpr int32_t kPixelFormatFlexibleYuv = 35;
constexpr int32_t kDataSpaceBt709Limited = 0x10C10000;
constexpr nsecs_t kPollStepNs = 10000;
constexpr nsecs_t kEndStepNs = 50000000;
// So long after the last output the encoder is taken to give nothing more.
constexpr int64_t kEndTimeoutUs = 1500000;

}  // namespace

status_t CameraRecorder::onSetRecord(bool enable) {
    if (enable == mRecord) return OK;
    if (enable) {
        // The former recording's source and encoder are still in use.
        if (mRecording.isOpen()) return INVALID_OPERATION;
        mRecord = true;
        status_t err = setupCameraSource();
        if (err != OK) {
            ALOGE("%s: failed to setup CameraSource", "onSetRecord");
            return err;
        }
        setupVideoEncoder();
        return mState == STARTED ? startRecording() : OK;
    }
    // Looked at before the switch: behind it a recording whose camera was lost may end at once, on
    // the callback thread.
    const bool runs = mRecording.isOpen();
    const sp<Puller> puller = mPuller;
    const sp<OxaMediaMuxer> muxer = mMuxer;
    mRecord = false;
    if (runs) {
        // A callback that waits at the gate would hold up the end.
        if (muxer != NULL) muxer->openGate();
        if (puller != NULL) puller->stop();
    } else {
        // Nothing runs that could come to an end by itself.
        releaseEncoder();
        releaseCameraSource();
        // Before the start there was no recording to end.
        if (mState == STARTED) postReport(kWhatStopTranscode, AMSG_STOP_ITEM, STOP_VIDEO);
    }
    return OK;
}

status_t CameraRecorder::startRecording() {
    mRecording.begin();
    mTrackEncoder.begin();
    status_t err = mEncoder->start();
    if (err == OK) {
        CHECK_SITE(HERE, mPuller != NULL);
        sp<MetaData> meta = new MetaData;
        if (mHasInputFormat) {
            meta->setInt32(kKeyPixelFormat, mPixelFormat);
            meta->setInt32(kKeyColorSpace, mDataSpace);
        }
        err = mPuller->start(meta, new AMessage(kWhatPullerNotify, this));
    }
    return err;
}

// ---- Set-up ------------------------------------------------------------------------------------

status_t CameraRecorder::setupCameraSource() {
    int32_t frameRate = mIsHdmiRx ? mSrc.frameRate : mTargetFormat->frameRate;
    mCameraSource = CameraSource::CreateFromCamera(
            mCamera->remote(), mCamera->getRecordingProxy(), mCameraId, mClientName, mClientUid,
            mClientPid, Size(mTargetFormat->width, mTargetFormat->height), frameRate,
            mSurface->getIGraphicBufferProducer(), true /* storeMetaDataInVideoBuffers */);
    if (mCameraSource == NULL) return UNKNOWN_ERROR;
    if (mCameraSource->initCheck() != OK) {
        mCameraSource.clear();
        return NO_INIT;
    }
    mMetaDataType = mCameraSource->metaDataStoredInVideoBuffers();
    mPuller = new Puller(mCameraSource, &mRecording.mThinnedFrames);
    int32_t interval = 1;
    if (mIsHdmiRx) {
        CHECK_SITE(HERE, mTargetFormat->frameRate > 0);
        // A rate above the receiver's can only be asked for while it runs already.
        interval = std::max(1, mSrc.frameRate / mTargetFormat->frameRate);
    }
    ALOGD("Capture fps = %d; Record fps = %d; Record only one frame for every %d frames", frameRate,
          mTargetFormat->frameRate, interval);
    mPuller->setRecordInterval(interval);
    return OK;
}

status_t CameraRecorder::setupVideoEncoder() {
    mTrackEncoder.create(MEDIA_MIMETYPE_VIDEO_AVC, HERE);
    mTrackEncoder.logName(sites::CameraRecorder::kEncoderName);
    sp<AMessage> encoderFormat = buildEncoderFormat();
    mTrackEncoder.attachRelay(this, HERE);
    ALOGD("encoderFormat=%s", encoderFormat->debugString().c_str());
    mTrackEncoder.configure(encoderFormat, HERE);
    readInputFormat();
    return OK;
}

sp<AMessage> CameraRecorder::buildEncoderFormat() {
    int32_t width = mTargetFormat->width;
    int32_t height = mTargetFormat->height;
    int32_t stride = 0;
    int32_t sliceHeight = 0;
    int32_t colorFormat = kColorFormatSurface;
    if (mCameraSource != NULL) {
        sp<MetaData> meta = mCameraSource->getFormat();
        CHECK_SITE(HERE, meta->findInt32(kKeyWidth, &width));
        CHECK_SITE(HERE, meta->findInt32(kKeyHeight, &height));
        CHECK_SITE(HERE, meta->findInt32(kKeyStride, &stride));
        CHECK_SITE(HERE, meta->findInt32(kKeySliceHeight, &sliceHeight));
        CHECK_SITE(HERE, meta->findInt32(kKeyColorFormat, &colorFormat));
    }
    _AV_FORMAT_FORMAT& target = *mTargetFormat;
    if (target.bitRate < 0) target.bitRate = width * height * kDefaultBitsPerPixel;
    sp<AMessage> format = new AMessage;
    format->setString(AMSG_MIME, MEDIA_MIMETYPE_VIDEO_AVC);
    format->setInt32("width", width);
    format->setInt32("height", height);
    format->setInt32("stride", stride);
    format->setInt32("slice-height", sliceHeight);
    format->setInt32("create-input-buffers-suspended", 1);
    format->setInt32("frame-rate", target.frameRate > 0 ? target.frameRate : kDefaultFrameRate);
    if (static_cast<uint32_t>(target.deinterlace) <= kMaxDeinterlaceMode) {
        format->setInt32("video-de-interlace", target.deinterlace);
    }
    format->setInt32("bitrate", target.bitRate);
    format->setInt32("i-frame-interval", target.iFrameInterval);
    format->setInt32("color-format", colorFormat);
    format->setInt32("level", target.level);
    format->setInt32("profile", target.profile);
    format->setInt32("android._input-metadata-buffer-type", mMetaDataType);
    return format;
}

void CameraRecorder::readInputFormat() {
    sp<AMessage> format;
    mHasInputFormat = mEncoder->getInputFormat(&format) == OK;
    if (!mHasInputFormat) return;
    int32_t swReadOften;
    bool readOften = format->findInt32("using-sw-read-often", &swReadOften) && swReadOften != 0;
    mPixelFormat = readOften ? kPixelFormatFlexibleYuv : kPixelFormatImplementationDefined;
    if (!format->findInt32("android._dataspace", &mDataSpace)) mDataSpace = kDataSpaceBt709Limited;
}

// ---- Encoder callbacks -------------------------------------------------------------------------

void CameraRecorder::handleEncoderInputBuffer(uint32_t index) {
    Mutex::Autolock lock(mStopLock);
    MediaBufferBase* frame = NULL;
    if (!takeFrame(&frame)) return;
    if (frame != NULL) {
        queueFrame(index, frame);
    } else {
        mEncoder->queueInputBuffer(index, 0, 0, 0, MediaCodec::BUFFER_FLAG_EOS);
    }
}

// Waits for a frame in short polls. No frame: the end of the stream. False: there is nothing to do
// any more.
bool CameraRecorder::takeFrame(MediaBufferBase** frame) {
    while (!mPuller->readBuffer(frame)) {
        if (mState != STARTED || mRecording.isEnding()) return false;
        if (mStopProcess.mEOSQueued) return true;
        if (!mRecord && mPuller->isDry()) {
            // The camera was lost, or stalls: there will be no frame to carry the end mark, unless
            // it has come just now.
            mStopProcess.mEOSQueued = !mPuller->readBuffer(frame);
            return true;
        }
        // stop() needs the lock while this waits.
        mStopLock.unlock();
        {
            Mutex::Autolock lock(mPollLock);
            mPollCond.waitRelative(mPollLock, kPollStepNs);
        }
        mStopLock.lock();
    }
    return true;
}

void CameraRecorder::queueFrame(uint32_t index, MediaBufferBase* mbuf) {
    if (mState != STARTED) {
        mbuf->release();
        return;
    }
    int64_t timeUs;
    CHECK_SITE(HERE, mbuf->meta_data().findInt64(kKeyTime, &timeUs));
    if (mFirstFrameTimeUs < 0) mFirstFrameTimeUs = timeUs;
    timeUs -= mFirstFrameTimeUs;
    int32_t eos = 0;
    mbuf->meta_data().findInt32(Puller::kKeyEOS, &eos);
    if (eos != 0) mStopProcess.mEOSQueued = true;

    sp<MediaCodecBuffer> buffer;
    status_t err = mEncoder->getInputBuffer(index, &buffer);
    if (err != OK || buffer == NULL || buffer->base() == NULL || mbuf->data() == NULL ||
        mbuf->size() == 0) {
        // By design its input stays unused.
        mbuf->release();
        // A frame that cannot be used may be the one that carries the end.
        if (eos != 0) {
            mEncoder->queueInputBuffer(index, 0, 0, 0, MediaCodec::BUFFER_FLAG_EOS);
        }
        return;
    }
    // All of it, not its range: the record that refers to the camera's picture.
    size_t size = std::min(mbuf->size(), buffer->capacity());
    memcpy(buffer->base(), mbuf->data(), size);
    buffer->meta()->setObject("mediaBufferHolder", new MediaBufferHolder(mbuf));
    mbuf->release();
    mRecording.mCapturedTimeUs = timeUs;
    mEncoder->queueInputBuffer(index, 0, size, timeUs, eos != 0 ? MediaCodec::BUFFER_FLAG_EOS : 0);
}

void CameraRecorder::handleEncoderOutputBuffer(uint32_t index, uint32_t /* offset */, uint32_t size,
                                               int64_t timeUs, int32_t flags) {
    mRecording.mLastOutputUs = ALooper::GetNowUs();
    if (flags & MediaCodec::BUFFER_FLAG_EOS) {
        mEncoder->releaseOutputBuffer(index);
        signalEOS();
        return;
    }
    if (mState != STARTED) return;
    sp<MediaCodecBuffer> buffer;
    mEncoder->getOutputBuffer(index, &buffer);
    if (buffer != NULL && timeUs >= 0) {
        mTrackEncoder.write(buffer, 0, size, timeUs, flags, HERE);
    }
    mEncoder->releaseOutputBuffer(index);
}

void CameraRecorder::handleEncoderOutputFormatChange(const sp<AMessage>& format) {
    ALOGD(LOG_RED "%s[%d]: output-format change" LOG_RESET,
          SITE(sites::CameraRecorder::kFormatChange));
    if (mTrackEncoder.addTrack(format, newReport(kWhatTrackAdded, AMSG_TRACK_ITEM, VIDEO_TRACK),
                               sites::CameraRecorder::kTrackAdded) == OK)
        return;
    ALOGE("%s[%d]: This video track unsupported by muxer",
          SITE(sites::CameraRecorder::kTrackRefused));
    postReport(kWhatDecodeGotEOS, AMSG_STOP_ITEM, EOSVideoReached);
}

void CameraRecorder::handleEncoderError(int32_t err, int32_t actionCode, const char* detail) {
    mTrackEncoder.logError(__LINE__, err, actionCode, detail);
    mRecording.fail();
    if (!mRecord) signalEOS();
}

// ---- The end of a recording --------------------------------------------------------------------

void CameraRecorder::signalEOS() {
    if (mRecording.claimEnd()) endRecording();
}

void CameraRecorder::endRecording() {
    releaseEncoder();
    releaseCameraSource();
    Mutex::Autolock lock(mStopLock);
    if (mStopProcess.mStopRequested) stopPreview();
    mStopProcess.mEOSQueued = false;
    mStopProcess.mStopRequested = false;
    // Before the report: whoever hears of it may begin the next recording at once. And that before
    // a stop is let go, which needs this lock.
    mRecording.finish();
    postReport(kWhatStopTranscode, AMSG_STOP_ITEM, STOP_VIDEO);
    mStopProcess.mCondition.signal();
}

// For those who do not wait for an end.
void CameraRecorder::dropRecording() {
    mRecording.claimEnd();
    mTrackEncoder.stopCallbacks();
    releaseEncoder();
    releaseCameraSource();
    mRecording.finish();
}

void CameraRecorder::releaseEncoder() {
    mTrackEncoder.release();
    mMuxer.clear();
    mFirstFrameTimeUs = -1;
}

void CameraRecorder::releaseCameraSource() {
    if (mPuller != NULL) {
        // A camera that stalls holds its reader.
        mPuller->abandon();
        if (mPuller->isStuck()) mPuller->interruptSource();
        mPuller->stopSource();
        mPuller.clear();
    }
    mCameraSource.clear();
}

// For stop(). Camera and encoder get time to finish, not for ever.
void CameraRecorder::waitForEnd() {
    int64_t waitStartUs = ALooper::GetNowUs();
    while (mRecording.isOpen()) {
        mStopProcess.mCondition.waitRelative(mStopLock, kEndStepNs);
        if (!mRecording.isOpen() || !endIsOverdue(waitStartUs)) continue;
        mStopLock.unlock();
        forceEnd();
        mStopLock.lock();
    }
    // There was no recording that ran.
    if (mStopProcess.mStopRequested) stopPreview();
    mStopProcess.mStopRequested = false;
}

bool CameraRecorder::endIsOverdue(int64_t waitStartUs) {
    int64_t lastSignUs = std::max(waitStartUs, mRecording.mLastOutputUs.load());
    return mRecording.hasFailed() || ALooper::GetNowUs() - lastSignUs > kEndTimeoutUs;
}

void CameraRecorder::forceEnd() {
    if (!mRecording.claimEnd()) return;  // the callback thread has begun
    mTrackEncoder.stopCallbacks();
    endRecording();
}

}  // namespace android
