// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "OxaMediaCodecPlayer"

#include "OxaMediaCodecPlayer.h"

#include <assert.h>
#include <fcntl.h>
#include <media/AudioSystem.h>
#include <unistd.h>

#include <algorithm>

#include "AudioDecoder.h"
#include "AudioRecordEncoder.h"
#include "AudioRxEncoder.h"
#include "AudioTranscoder.h"
#include "CameraRecorder.h"
#include "HdmiRxInfo.h"
#include "OxaMediaMuxer.h"
#include "PlayerSource.h"
#include "TranscodeDrain.h"
#include "VideoDecoder.h"
#include "VideoTranscoder.h"

namespace android {

const char kPlayerSourceFile[] = __FILE__;

namespace {

constexpr char kSharedCameraClient[] = "TranscodePlayerService";

// The looper thread's own player; a request from that thread would wait for itself.
thread_local const OxaMediaCodecPlayer* tDispatchingPlayer = nullptr;

}  // namespace

OxaMediaCodecPlayer::OxaMediaCodecPlayer(bool createLooper, int onlyTrack)
    : mCreateLooper(createLooper),
      mOnlyTrack(onlyTrack),
      mDrain(std::make_unique<TranscodeDrain>()) {
    ALOGD("%s[%d]: createLooper:%d onlyTrack:%d", __FUNCTION__, __LINE__, createLooper, onlyTrack);
    if (mCreateLooper) {
        mLooper = new ALooper;
        mLooper->setName("Player");
    }
    resetVariables();
}

OxaMediaCodecPlayer::~OxaMediaCodecPlayer() {
    ALOGD("%s[%d]", __FUNCTION__, __LINE__);
    if (mCreateLooper) {
        mLooper->unregisterHandler(id());
        mLooper->stop();
        mLooper.clear();
    }
}

void OxaMediaCodecPlayer::resetVariables() {
    // The next recording of the receiver reads its facts afresh; those of another player's stay.
    if (mTranscodeType == SourceTypeHdmiRx) {
        AutoMutex lock(HdmiRxInfo::sLock);
        HdmiRxInfo::DelInstance();
    }
    mAllEOS = false;
    mVideoEOS = false;
    mAudioEOS = false;
    mNoVideoTrack = false;
    mNoAudioTrack = false;
    mVideoStopped = false;
    mAudioStopped = false;
    mMuxerStopped = false;
    mSessionId = -1;
    mTranscode = 0;
    mPlayback = 0;
    mTranscodeType = SourceTypeFile;
    mState = UNINITIALIZED;
    mRenderVideo = true;
    mRenderAudio = true;
    mInputFile.clear();
    mSecondFile.clear();
    mMediaMuxer.clear();
    mVideoTrackAdded = false;
    mAudioTrackAdded = false;
    mStatusHandler.clear();
    mStatusCallback = NULL;
    mICamera.clear();
    mSource = std::make_unique<Source>(*this);
    mPhase = kBeforeStart;
    mOutputState = kOutputNone;
    mSwitchOnPending = false;
    mOutputIsNext = false;
    // The output of an earlier life is not this one's.
    mOutputFormat.fileName = NULL;
    closeFd();
}

bool OxaMediaCodecPlayer::allHandled(bool video, bool audio) const {
    return (video || !handlesVideo()) && (audio || !handlesAudio());
}

// ---- Public calls ------------------------------------------------------------------------------

status_t OxaMediaCodecPlayer::request(const sp<AMessage>& msg) {
    assert(tDispatchingPlayer != this && "a call from the player's own looper waits for itself");
    return postRequest(msg);
}

status_t OxaMediaCodecPlayer::initiate(int transcodeType, bool playback, bool transcode) {
    ALOGD("%s[%d]: transcodeType[%d] playback[%d] transcode[%d]", __FUNCTION__, __LINE__,
          transcodeType, playback, transcode);
    if (mCreateLooper && id() == 0) {
        // Registered and started once; both last over a cleanup and the next initiate.
        mLooper->registerHandler(this);
        mLooper->start();
    }
    sp<AMessage> msg = new AMessage(kWhatInitiate, this);
    msg->setInt32(AMSG_ENCODE_TYPE, transcodeType);
    msg->setInt32(AMSG_SET_PLAYBACK, playback);
    msg->setInt32(AMSG_SET_TRANSCODE, transcode);
    return request(msg);
}

status_t OxaMediaCodecPlayer::setDataSource(const char* path) {
    ALOGD("%s[%d]: InputFile:%s", __FUNCTION__, __LINE__, path);
    return request(newPathRequest(kWhatSetDataSource, this, path));
}

status_t OxaMediaCodecPlayer::setDataSource(int fd, long long offset, long long length) {
    ALOGD("%s[%d]: fileId:%d offset:%lld length:%lld", __FUNCTION__, __LINE__, fd, offset, length);
    return request(newFileRequest(kWhatSetDataSourceFd, this, fd, offset, length));
}

status_t OxaMediaCodecPlayer::setCameraSource(int cameraId, const String16& clientName) {
    ALOGD("%s[%d] cameraId:%d clientName:%s", __FUNCTION__, __LINE__, cameraId,
          String8(clientName).c_str());
    sp<AMessage> msg = newCameraRequest(kWhatSetCameraSource, clientName);
    msg->setInt32(AMSG_CAMERA_ID, cameraId);
    return request(msg);
}

status_t OxaMediaCodecPlayer::setCameraSource(const sp<hardware::ICamera>& camera) {
    ALOGD("%s[%d]", __FUNCTION__, __LINE__);
    String16 clientName(kSharedCameraClient);
    sp<AMessage> msg = newCameraRequest(kWhatSetCameraSource2, clientName);
    msg->setPointer(AMSG_CAMERA_SP, const_cast<sp<hardware::ICamera>*>(&camera));
    return request(msg);
}

// The name is read while the caller waits.
sp<AMessage> OxaMediaCodecPlayer::newCameraRequest(uint32_t what, const String16& clientName) {
    sp<AMessage> msg = new AMessage(what, this);
    msg->setInt32(AMSG_CAMERA_TYPE, mTranscodeType == SourceTypeHdmiRx ? 1 : 0);
    msg->setPointer(AMSG_CLIENT_NAME, const_cast<String16*>(&clientName));
    return msg;
}

status_t OxaMediaCodecPlayer::setAudioSource(int audioSource) {
    ALOGD("%s[%d]: audioSource:%d", __FUNCTION__, __LINE__, audioSource);
    return request(newRequest(kWhatSetAudioSource, this, AMSG_AUDIO_SOURCE, audioSource));
}

status_t OxaMediaCodecPlayer::setTranscode(bool transcode) {
    ALOGD("%s[%d]: transcode:%d", __FUNCTION__, __LINE__, transcode);
    return request(newRequest(kWhatSetTranscode, this, AMSG_SET_TRANSCODE, transcode));
}

status_t OxaMediaCodecPlayer::setSurface(const sp<IGraphicBufferProducer>& producer) {
    ALOGD("%s[%d]: set surface to display", __FUNCTION__, __LINE__);
    sp<Surface> surface = new Surface(producer, false /* controlledByApp */);
    return request(newRequest(kWhatSetSurface, this, AMSG_SURFACE, surface));
}

status_t OxaMediaCodecPlayer::setMuxer(_OxaTranscodeConfig& config) {
    ALOGD("%s[%d]: type:%d fmt:%d fd:%d fn:%s data:%p info:%p ip:%s port:%d rtp:%d", __FUNCTION__,
          __LINE__, config.type, config.fmt, config.fileDesc,
          config.fileName != NULL ? config.fileName : "", config.data.get(), config.info.get(),
          config.udpIp != NULL ? config.udpIp : "", config.port, config.rtp);
    return request(newPointerRequest(kWhatSetMuxer, this, AMSG_OUTPUT_FORMAT, &config));
}

status_t OxaMediaCodecPlayer::setTargetFormat(const _AV_FORMAT_FORMAT& format) {
    ALOGD("%s[%d]", __FUNCTION__, __LINE__);
    ALOGI(LOG_GREEN "TargetFormat: Audio:%dch/%dHz" LOG_RESET, format.channelCount,
          format.sampleRate);
    logVideoTarget(LOG_TAG, format);
    return request(newPointerRequest(kWhatSetTargetFormat, this, AMSG_TARTGET_FORMAT, &format));
}

status_t OxaMediaCodecPlayer::setPlayback(bool video, bool audio) {
    ALOGD("%s[%d]: video:%d audio:%d", __FUNCTION__, __LINE__, video, audio);
    sp<AMessage> msg = new AMessage(kWhatSetPlayback, this);
    msg->setInt32(AMSG_SET_RENDER_VIDEO, video);
    msg->setInt32(AMSG_SET_RENDER_AUDIO, audio);
    return request(msg);
}

status_t OxaMediaCodecPlayer::setTunneledPlayback(bool enable) {
    ALOGD("%s[%d]: TunneledPlayback:%s", __FUNCTION__, __LINE__, enable ? "true" : "false");
    return request(newRequest(kWhatSetTunneledPlayback, this, AMSG_SET_TUNNELED_PLAYBACK, enable));
}

status_t OxaMediaCodecPlayer::setFreeRun(bool enable) {
    ALOGD("%s[%d]: %s FreeRun", __FUNCTION__, __LINE__, enable ? "enable" : "disable");
    return request(newRequest(kWhatSetFreeRun, this, AMSG_FREE_RUN, enable));
}

status_t OxaMediaCodecPlayer::setCalculateFPS(double seconds) {
    ALOGD("%s[%d]: interval-time=%fsec", __FUNCTION__, __LINE__, seconds);
    return request(newRequest(kWhatSetCalculateFPS, this, AMSG_CALCULATE_FPS, seconds));
}

status_t OxaMediaCodecPlayer::prepare() {
    ALOGD("%s[%d]", __FUNCTION__, __LINE__);
    return request(new AMessage(kWhatPrepare, this));
}

status_t OxaMediaCodecPlayer::start() {
    ALOGD("%s[%d]", __FUNCTION__, __LINE__);
    return request(new AMessage(kWhatStart, this));
}

status_t OxaMediaCodecPlayer::stop() {
    ALOGD("%s[%d]", __FUNCTION__, __LINE__);
    mStopRequested = true;
    mDrain->fail(INVALID_OPERATION);
    return request(new AMessage(kWhatStop, this));
}

status_t OxaMediaCodecPlayer::drain(int64_t timeoutUs) {
    return mDrain->wait(timeoutUs);
}

status_t OxaMediaCodecPlayer::cleanup() {
    ALOGD("%s[%d]: release resource", __FUNCTION__, __LINE__);
    // Pipelines must not run, nor reports be on their way, while everything is taken apart: what
    // they posted while they were being stopped is handled before a second, empty stop.
    stop();
    stop();
    Mutex::Autolock lock(mStepLock);
    onReset();
    return OK;
}

void OxaMediaCodecPlayer::onReset() {
    mSource->release();
    resetVariables();
    ALOGD("%s[%d] release resource success", __FUNCTION__, __LINE__);
}

status_t OxaMediaCodecPlayer::waitTime(long long us) {
    Mutex::Autolock lock(mWaitLock);
    mWaitCond.waitRelative(mWaitLock, std::min<int64_t>(us, kLongestWaitUs) * 1000);
    return OK;
}

status_t OxaMediaCodecPlayer::getCameraSnapshot(_CAMERA_SNAPSHOT_PARA* snapshot) {
    sp<AMessage> msg = new AMessage(CameraRecorder::kWhatGetCameraSnapshot, mCameraRecorder);
    msg->setInt32(AMSG_PIXELFORMAT, snapshot->format);
    msg->setInt32(AMSG_COORDINATE_X, snapshot->x);
    msg->setInt32(AMSG_COORDINATE_Y, snapshot->y);
    msg->setInt32(AMSG_VIDEO_WIDTH, snapshot->width);
    msg->setInt32(AMSG_VIDEO_HEIGHT, snapshot->height);
    msg->setInt32(AMSG_OUTPUT_WIDTH, snapshot->outWidth);
    msg->setInt32(AMSG_OUTPUT_HEIGHT, snapshot->outHeight);
    sp<AMessage> response;
    status_t err = postRequest(msg, &response);
    if (err != OK) return err;
    void* memory;
    CHECK(response->findInt32(AMSG_PIXELFORMAT, &snapshot->format));
    CHECK(response->findInt32(AMSG_COORDINATE_X, &snapshot->x));
    CHECK(response->findInt32(AMSG_COORDINATE_Y, &snapshot->y));
    CHECK(response->findInt32(AMSG_VIDEO_WIDTH, &snapshot->width));
    CHECK(response->findInt32(AMSG_VIDEO_HEIGHT, &snapshot->height));
    CHECK(response->findInt32(AMSG_OUTPUT_WIDTH, &snapshot->outWidth));
    CHECK(response->findInt32(AMSG_OUTPUT_HEIGHT, &snapshot->outHeight));
    CHECK(response->findInt32(AMSG_SIZE, &snapshot->size));
    CHECK(response->findPointer(AMSG_VIRT_ADDR, &snapshot->data));
    CHECK(response->findPointer(AMSG_IMEMORY_PTR, &memory));
    mSnapshotMemory = static_cast<IMemory*>(memory);
    return OK;
}

String8 OxaMediaCodecPlayer::getCameraParameters() {
    sp<AMessage> response;
    status_t err = postRequest(new AMessage(CameraRecorder::kWhatGetCameraParam, mCameraRecorder),
                               &response);
    if (err != OK) return String8();
    AString parameters;
    CHECK(response->findString(AMSG_CAMERA_PARAM, &parameters));
    return String8(parameters.c_str());
}

status_t OxaMediaCodecPlayer::getTranscodeProgress(_TRANSCODE_PROGRESS* progress) {
    if (progress == NULL) return BAD_VALUE;
    *progress = {-1, -1, 0};
    if (mVideoTranscoder != NULL) {
        progress->videoTimeUs = mVideoTranscoder->lastTimeUs();
        progress->videoFrames = mVideoTranscoder->writtenSamples();
    }
    if (mAudioTranscoder != NULL) progress->audioTimeUs = mAudioTranscoder->lastTimeUs();
    return OK;
}

status_t OxaMediaCodecPlayer::getPlaybackProgress(_PLAYBACK_PROGRESS* progress) {
    if (progress == NULL) return BAD_VALUE;
    *progress = {0, -1, -1, 0, 0};
    if (mVideoDecoder != NULL) {
        progress->startTimeUs = mVideoDecoder->firstFrameTimeUs();
        progress->videoTimeUs = mVideoDecoder->lastTimeUs();
        progress->shownFrames = mVideoDecoder->shownFrames();
        progress->droppedFrames = mVideoDecoder->droppedFrames();
    }
    if (mAudioDecoder != NULL) {
        if (progress->startTimeUs == 0) progress->startTimeUs = mAudioDecoder->startTimeUs();
        progress->audioTimeUs = mAudioDecoder->lastTimeUs();
    }
    return OK;
}

status_t OxaMediaCodecPlayer::getRecordingProgress(_RECORDING_PROGRESS* progress) {
    if (progress == NULL) return BAD_VALUE;
    *progress = {-1, -1, -1, 0, 0};
    if (mCameraRecorder != NULL) {
        progress->capturedTimeUs = mCameraRecorder->capturedTimeUs();
        progress->videoTimeUs = mCameraRecorder->lastTimeUs();
        progress->videoFrames = mCameraRecorder->writtenFrames();
        progress->thinnedFrames = mCameraRecorder->thinnedFrames();
    }
    if (mAudioRecordEncoder != NULL) progress->audioTimeUs = mAudioRecordEncoder->lastTimeUs();
    if (mAudioRxEncoder != NULL) progress->audioTimeUs = mAudioRxEncoder->lastTimeUs();
    return OK;
}

// ---- Requests ----------------------------------------------------------------------------------

void OxaMediaCodecPlayer::onMessageReceived(const sp<AMessage>& msg) {
    // The pipelines never wait for this looper, so whoever dismantles them is soon done.
    Mutex::Autolock lock(mStepLock);
    tDispatchingPlayer = this;
    if (msg->what() <= kWhatStop) {
        replyWithError(msg, handleRequest(msg));
    } else {
        handleReport(msg);
    }
    tDispatchingPlayer = nullptr;
}

status_t OxaMediaCodecPlayer::handleRequest(const sp<AMessage>& msg) {
    switch (msg->what()) {
        case kWhatInitiate:
            return onInitiate(msg);
        case kWhatSetDataSource:
            return onSetDataSource(msg);
        case kWhatSetDataSourceFd:
            return onSetDataSourceFd(msg);
        case kWhatSetCameraSource:
            return onSetCameraSource(msg);
        case kWhatSetCameraSource2:
            return onSetCameraSource2(msg);
        case kWhatSetAudioSource:
            return onSetAudioSource(msg);
        case kWhatSetPlayback:
            return onSetPlayback(msg);
        case kWhatSetTranscode:
            return onSetTranscode(msg);
        case kWhatSetTunneledPlayback:
            return onSetTunneledPlayback(msg);
        case kWhatSetFreeRun:
            return onSetFreeRun(msg);
        case kWhatSetCalculateFPS:
            return onSetCalculateFPS(msg);
        case kWhatPrepare:
            return onPrepare();
        case kWhatStart:
            return onStart();
        case kWhatSetMuxer:
            return onSetMuxer(msg);
        case kWhatSetTargetFormat:
            return onSetTargetFormat(msg);
        case kWhatSetSurface:
            return onSetSurface(msg);
        default:
            return onStop();
    }
}

status_t OxaMediaCodecPlayer::onInitiate(const sp<AMessage>& msg) {
    CHECK(mState == UNINITIALIZED);
    CHECK(msg->findInt32(AMSG_ENCODE_TYPE, &mTranscodeType));
    CHECK(msg->findInt32(AMSG_SET_PLAYBACK, &mPlayback));
    CHECK(msg->findInt32(AMSG_SET_TRANSCODE, &mTranscode));
    CHECK(mTranscodeType >= 0 && mTranscodeType < SourceTypeMax);
    // One that came before there was anything to stop.
    mStopRequested = false;
    if (mStatusHandler == NULL) {
        mStatusHandler = this;
        ALOGD("%s[%d]: Register myself as status handler", __FUNCTION__, __LINE__);
    }
    makeSource();
    mSource->createPipelines();
    mState = INITIALIZED;
    return OK;
}

void OxaMediaCodecPlayer::makeSource() {
    if (mTranscodeType == SourceTypeFile) {
        LOG_ALWAYS_FATAL_IF(mPlayback && mTranscode, "Both mPlayback and mTranscode are set!");
        if (mPlayback) mSource = Source::createPlayback(*this);
        if (mTranscode) mSource = Source::createTranscode(*this);
    }
    if (mTranscodeType == SourceTypeUsbCamera) mSource = Source::createUsb(*this);
    if (mTranscodeType == SourceTypeHdmiRx) mSource = Source::createHdmiRx(*this);
}

status_t OxaMediaCodecPlayer::onSetDataSource(const sp<AMessage>& msg) {
    CHECK(mState == INITIALIZED && mTranscodeType == SourceTypeFile);
    CHECK(msg->findString(AMSG_PATH, &mInputFile));
    mFileSourceType = 0;
    ALOGD("%s[%d]: Set data source by path", __FUNCTION__, __LINE__);
    ALOGD("--- FilePath : %s ---", mInputFile.c_str());
    mSource->setFile();
    mState = mSource->stateWithFile();
    return OK;
}

status_t OxaMediaCodecPlayer::onSetDataSourceFd(const sp<AMessage>& msg) {
    CHECK(mState == INITIALIZED && mTranscodeType == SourceTypeFile);
    int32_t fileId;
    CHECK(msg->findInt32(AMSG_FILE_ID, &fileId));
    CHECK(msg->findInt64(AMSG_FILE_OFFSET, &mFileOffset));
    CHECK(msg->findInt64(AMSG_FILE_LENGTH, &mFileLength));
    // Without a role the call may be repeated.
    if (mFileId > 0) close(mFileId);
    // 0 means "none" here, so the duplicate must not be 0.
    mFileId = fcntl(fileId, F_DUPFD_CLOEXEC, 1);
    mFileSourceType = 1;
    ALOGD("%s[%d]: Set data source by file handle", __FUNCTION__, __LINE__);
    ALOGD("--- FileId :%d FileOffset :%lld FileLen : %lld ---", mFileId, (long long)mFileOffset,
          (long long)mFileLength);
    mSource->setFile();
    mState = mSource->stateWithFile();
    return OK;
}

void OxaMediaCodecPlayer::readCameraRequest(const sp<AMessage>& msg) {
    void* clientName;
    CHECK(mState == INITIALIZED &&
          (mTranscodeType == SourceTypeHdmiRx || mTranscodeType == SourceTypeUsbCamera));
    CHECK(msg->findInt32(AMSG_CAMERA_TYPE, &mCameraType));
    CHECK(msg->findPointer(AMSG_CLIENT_NAME, &clientName));
    mClientName = *static_cast<String16*>(clientName);
}

status_t OxaMediaCodecPlayer::onSetCameraSource(const sp<AMessage>& msg) {
    readCameraRequest(msg);
    CHECK(msg->findInt32(AMSG_CAMERA_ID, &mCameraId));
    mSource->setCamera(false /* shared */);
    mState = WAIT_AUDIO_SOURCE;
    return OK;
}

status_t OxaMediaCodecPlayer::onSetCameraSource2(const sp<AMessage>& msg) {
    readCameraRequest(msg);
    void* camera;
    CHECK(msg->findPointer(AMSG_CAMERA_SP, &camera));
    mICamera = *static_cast<sp<hardware::ICamera>*>(camera);
    mSource->setCamera(true /* shared */);
    mState = WAIT_AUDIO_SOURCE;
    return OK;
}

status_t OxaMediaCodecPlayer::onSetAudioSource(const sp<AMessage>& msg) {
    CHECK(mState == WAIT_AUDIO_SOURCE);
    CHECK(msg->findInt32(AMSG_AUDIO_SOURCE, &mAudioSource));
    mSource->setAudioSource();
    mState = WAIT_SURFACE;
    return OK;
}

status_t OxaMediaCodecPlayer::onSetPlayback(const sp<AMessage>& msg) {
    int32_t video, audio;
    CHECK(msg->findInt32(AMSG_SET_RENDER_VIDEO, &video));
    CHECK(msg->findInt32(AMSG_SET_RENDER_AUDIO, &audio));
    mSource->setPlayback(video != 0, audio != 0);
    return OK;
}

status_t OxaMediaCodecPlayer::onSetTranscode(const sp<AMessage>& msg) {
    int32_t transcode;
    CHECK(msg->findInt32(AMSG_SET_TRANSCODE, &transcode));
    switchRecording(transcode != 0);
    return OK;
}

status_t OxaMediaCodecPlayer::onSetTunneledPlayback(const sp<AMessage>& msg) {
    int32_t enable;
    CHECK(msg->findInt32(AMSG_SET_TUNNELED_PLAYBACK, &enable));
    if (enable == 0) return OK;
    mSessionId = AudioSystem::newAudioUniqueId(AUDIO_UNIQUE_ID_USE_SESSION);
    // Without sound there is no session to follow.
    if (mOnlyTrack == CODEC_VIDEO_ONLY) mSessionId = 0;
    // Only a playback has decoders, and the call is good in any state.
    if (mAudioDecoder != NULL) mAudioDecoder->setAudioSession(mSessionId);
    if (mVideoDecoder != NULL) mVideoDecoder->setAudioSession(mSessionId);
    return OK;
}

status_t OxaMediaCodecPlayer::onSetFreeRun(const sp<AMessage>& msg) {
    CHECK(mState != UNINITIALIZED);
    int32_t enable;
    CHECK(msg->findInt32(AMSG_FREE_RUN, &enable));
    mSource->setFreeRun(enable != 0);
    return OK;
}

status_t OxaMediaCodecPlayer::onSetCalculateFPS(const sp<AMessage>& msg) {
    CHECK(mState != UNINITIALIZED);
    double seconds;
    CHECK(msg->findDouble(AMSG_CALCULATE_FPS, &seconds));
    mSource->setCalculateFPS(seconds);
    return OK;
}

status_t OxaMediaCodecPlayer::onPrepare() {
    CHECK(mState == UNPREPARED);
    mSource->prepare();
    mState = PREPARED;
    return OK;
}

status_t OxaMediaCodecPlayer::onStart() {
    CHECK(mState == PREPARED);
    mPhase = kRunning;
    mSource->start();
    mState = STARTED;
    if (mSwitchOnPending) switchRecording(true);
    return OK;
}

status_t OxaMediaCodecPlayer::onSetMuxer(const sp<AMessage>& msg) {
    if (mTranscodeType == SourceTypeFile) CHECK(mState == WAIT_MUXER);
    void* format;
    CHECK(msg->findPointer(AMSG_OUTPUT_FORMAT, &format));
    status_t err = setOutput(*static_cast<_OxaTranscodeConfig*>(format));
    if (err == OK) mState = WAIT_TARGET_FORMAT;
    return err;
}

status_t OxaMediaCodecPlayer::onSetTargetFormat(const sp<AMessage>& msg) {
    CHECK(mState == WAIT_TARGET_FORMAT || mState == WAIT_PREVIEW_PARAMS || mState == STARTED);
    void* format;
    CHECK(msg->findPointer(AMSG_TARTGET_FORMAT, &format));
    mTargetFormat = *static_cast<_AV_FORMAT_FORMAT*>(format);
    mSource->setTargetFormat();
    if (mState != STARTED) mState = UNPREPARED;
    return OK;
}

status_t OxaMediaCodecPlayer::onSetSurface(const sp<AMessage>& msg) {
    CHECK(mState == WAIT_SURFACE);
    sp<RefBase> obj;
    CHECK(msg->findObject(AMSG_SURFACE, &obj));
    mSurface = static_cast<Surface*>(obj.get());
    mSource->setSurface();
    mState = mSource->stateWithSurface();
    return OK;
}

status_t OxaMediaCodecPlayer::onStop() {
    mStopRequested = false;
    if (mPhase != kRunning) return OK;
    mPhase = kAfterStop;
    mSwitchOnPending = false;
    // A pipeline may wait for a start that cannot come any more: this very thread would have to
    // make it.
    if (mMediaMuxer != NULL) mMediaMuxer->openGate();
    mSource->stop();
    // Nothing is written any more. Not every pipeline reports its own stop; those that do find no
    // muxer later.
    finishMuxer();
    ALOGD("%s[%d]: Stop OxaMediaCodecPlayer success", __FUNCTION__, __LINE__);
    mState = STOPPED;
    return OK;
}

// ---- Reports -----------------------------------------------------------------------------------

void OxaMediaCodecPlayer::handleReport(const sp<AMessage>& msg) {
    switch (msg->what()) {
        case kWhatDecodeGotEOS:
            return onDecodeGotEOS(msg);
        case kWhatStopTranscode:
            return onStopTranscode(msg);
        case kWhatTrackAdded:
            return onTrackAdded(msg);
        case kWhatHDMIRxVideoHotplug:
            return onVideoHotplug(msg);
        case kWhatSyncVideoTime:
            if (mTranscode) mSource->syncVideoTime();
            break;
        case kWhatTranscodeDone:
            return onTranscodeDone(msg);
        default:
            // Also kWhatError, by design: clients with a handler of their own have a copy.
            break;
    }
}

void OxaMediaCodecPlayer::onDecodeGotEOS(const sp<AMessage>& msg) {
    int32_t item;
    CHECK(msg->findInt32(AMSG_STOP_ITEM, &item));
    switch (item) {
        case EOSVideoReached:
            ALOGD(LOG_RED "Received kWhatDecodeGotEOS:EOSVideoReached" LOG_RESET);
            mVideoEOS = true;
            // No picture moves the video time any more: sound that follows it would crawl.
            if (mAudioTranscoder != NULL) mAudioTranscoder->setVideoTimeUs(-1);
            break;
        case EOSAudioReached:
            ALOGD(LOG_RED "Received kWhatDecodeGotEOS:EOSAudioReached" LOG_RESET);
            mAudioEOS = true;
            break;
        case NO_VIDEO_TRACK:
            ALOGD(LOG_RED "Received kWhatDecodeGotEOS:NO_VIDEO_TRACK" LOG_RESET);
            mNoVideoTrack = true;
            mVideoEOS = true;
            break;
        case NO_AUDIO_TRACK:
            ALOGD(LOG_RED "Received kWhatDecodeGotEOS:NO_AUDIO_TRACK" LOG_RESET);
            mNoAudioTrack = true;
            mAudioEOS = true;
            break;
    }
    if (allHandled(mVideoEOS, mAudioEOS)) mAllEOS = true;
    if (mAllEOS) notifyPlayerEOS();
}

void OxaMediaCodecPlayer::notifyPlayerEOS() {
    sp<AMessage> msg = new AMessage(kWhatPlayerEOS, mStatusHandler);
    if (mStatusHandler != NULL && mStatusHandler->id() != id()) msg->post();
    if (mStatusCallback != NULL) mStatusCallback(msg);
}

void OxaMediaCodecPlayer::onStopTranscode(const sp<AMessage>& msg) {
    int32_t item;
    CHECK(msg->findInt32(AMSG_STOP_ITEM, &item));
    if (item == STOP_VIDEO) {
        ALOGD(LOG_RED "Received kWhatStopTranscode:STOP_VIDEO" LOG_RESET);
    } else if (item == STOP_AUDIO) {
        ALOGD(LOG_RED "Received kWhatStopTranscode:STOP_AUDIO" LOG_RESET);
    }
    // One that comes when its recording is over would be taken for the next one's; after a stop
    // there is none.
    const bool isRecorded = mOutputState == kOutputRecording || mOutputState == kOutputFinishing;
    if (!isRecorded && mPhase != kAfterStop) return;
    if (item == STOP_VIDEO) mVideoStopped = true;
    if (item == STOP_AUDIO) mAudioStopped = true;
    if (allHandled(mVideoStopped, mAudioStopped)) mMuxerStopped = true;
    if (!mMuxerStopped) return;
    onStopMuxer();
    ALOGD("%s[%d]: Stop muxer success", __FUNCTION__, __LINE__);
    if (mSwitchOnPending) switchRecording(true);
}

void OxaMediaCodecPlayer::onTrackAdded(const sp<AMessage>& msg) {
    int32_t item;
    CHECK(msg->findInt32(AMSG_TRACK_ITEM, &item));
    // A report that was still on its way when recording ended finds nothing to start.
    if (mOutputState != kOutputRecording) return;
    if (item == AUDIO_TRACK) mAudioTrackAdded = true;
    if (item == VIDEO_TRACK) mVideoTrackAdded = true;
    if (!allHandled(mVideoTrackAdded, mAudioTrackAdded)) return;
    CHECK(mMediaMuxer->start() == OK);
    if (!mMediaMuxer->isWriting()) mDrain->fail(INVALID_OPERATION);
    const char* only = "";
    if (mOnlyTrack == CODEC_AUDIO_ONLY) only = "CODEC_AUDIO_ONLY:";
    if (mOnlyTrack == CODEC_VIDEO_ONLY) only = "CODEC_VIDEO_ONLY:";
    ALOGD("%s:%smuxer start success", mSource->name(), only);
}

void OxaMediaCodecPlayer::onVideoHotplug(const sp<AMessage>& msg) {
    int32_t state;
    if (!msg->findInt32("rx-video", &state)) return;
    ALOGD("[%s][HDMIRx] kWhatHDMIRxVideoHotplug state:%d", __FUNCTION__, state);
    if (mStatusHandler == NULL || mStatusHandler->id() == id()) return;
    sp<AMessage> report = new AMessage(kWhatHDMIRxVideoHotplug, mStatusHandler);
    report->setInt32("rx-video", state);
    report->post();
}

void OxaMediaCodecPlayer::onTranscodeDone(const sp<AMessage>& msg) {
    int32_t item, err;
    CHECK(msg->findInt32(AMSG_STOP_ITEM, &item));
    CHECK(msg->findInt32("err", &err));
    if (err == OK) {
        mDrain->onStreamDone(item);
    } else {
        mDrain->fail(INVALID_OPERATION);
    }
}

}  // namespace android
