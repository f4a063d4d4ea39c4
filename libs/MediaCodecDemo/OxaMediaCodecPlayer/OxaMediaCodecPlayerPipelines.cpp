// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// The player's steps that make, drive and dismantle pipelines.

#define LOG_TAG "OxaMediaCodecPlayer"

#include <media/AudioSystem.h>
#include <utils/Timers.h>

#include "OxaMediaCodecPlayer.h"

namespace android {

namespace {

constexpr int64_t kFirstFrameTimeoutUs = 3000000;
constexpr int64_t kHdmiRxResetPauseUs = 1000;

}  // namespace

template <typename Pipeline>
void OxaMediaCodecPlayer::createPipeline(sp<Pipeline>* pipeline, sp<ALooper>* looper,
                                         const char* looperName) {
    *pipeline = new Pipeline;
    *looper = new ALooper;
    (*looper)->setName(looperName);
    // Before the pipeline's thread can look at them.
    (*pipeline)->mPlayerHandler = this;
    (*pipeline)->mStatusHandler = mStatusHandler;
    (*looper)->registerHandler(*pipeline);
    (*looper)->start();
}

template <typename Pipeline>
void OxaMediaCodecPlayer::releasePipeline(sp<Pipeline>* pipeline, sp<ALooper>* looper,
                                          int64_t pauseUs) {
    if (*pipeline == NULL) return;
    CHECK((*pipeline)->reset() == OK);
    if (pauseUs > 0) waitTime(pauseUs);
    (*looper)->unregisterHandler((*pipeline)->id());
    (*looper)->stop();
    looper->clear();
    (*pipeline)->cleanup();
    pipeline->clear();
}

void OxaMediaCodecPlayer::onInitiate() {
    if (mStatusHandler == NULL) {
        mStatusHandler = this;
        ALOGD("%s[%d]: Register myself as status handler", __FUNCTION__, __LINE__);
    }
    if (isLive()) createLivePipelines();
    if (mTranscodeType != SourceTypeFile) return;
    LOG_ALWAYS_FATAL_IF(mPlayback && mTranscode, "Both mPlayback and mTranscode are set!");
    if (mPlayback && handlesVideo()) {
        createPipeline(&mVideoDecoder, &mVideoDecodeLooper, "VideoDecodeLooper");
    }
    if (mPlayback && handlesAudio()) {
        createPipeline(&mAudioDecoder, &mAudioDecodeLooper, "AudioDecodeLooper");
    }
    if (mTranscode && handlesVideo()) {
        createPipeline(&mVideoTranscoder, &mVideoTranscodeLooper, "VideoTranscodeLooper");
    }
    if (mTranscode && handlesAudio()) {
        createPipeline(&mAudioTranscoder, &mAudioTranscodeLooper, "AudioTranscodeLooper");
    }
}

void OxaMediaCodecPlayer::createLivePipelines() {
    if (handlesVideo()) {
        createPipeline(&mCameraRecorder, &mCameraReaderLooper, "CameraReaderLooper");
    }
    if (!handlesAudio()) return;
    if (mTranscodeType == SourceTypeUsbCamera) {
        createPipeline(&mAudioRecordEncoder, &mAudioRecordReaderLooper, "AudioRecordReaderLooper");
    } else {
        createPipeline(&mAudioRxEncoder, &mAudioManagerLooper, "AudioManagerLooper");
    }
}

status_t OxaMediaCodecPlayer::onSetDataSource() {
    if (mTranscodeType != SourceTypeFile) {
        // By design the line gives the file source type, although the source type was tested.
        ALOGE("%s[%d]: FileSourceType=%d is invalid !!!", __FUNCTION__, __LINE__, mFileSourceType);
        return UNKNOWN_ERROR;
    }
    bool byPath = mFileSourceType == 0;
    if (byPath) {
        ALOGD("%s[%d]: Set data source by path", __FUNCTION__, __LINE__);
        ALOGD("--- FilePath : %s ---", mInputFile.c_str());
    } else {
        ALOGD("%s[%d]: Set data source by file handle", __FUNCTION__, __LINE__);
        ALOGD("--- FileId :%d FileOffset :%lld FileLen : %lld ---", mFileId, (long long)mFileOffset,
              (long long)mFileLength);
    }
    auto setSource = [this, byPath](const auto& pipeline) {
        return byPath ? pipeline->setDataSource(mInputFile.c_str())
                      : pipeline->setDataSource(mFileId, mFileOffset, mFileLength);
    };
    if (mPlayback && handlesVideo()) CHECK(setSource(mVideoDecoder) == OK);
    if (mPlayback && handlesAudio()) CHECK(setSource(mAudioDecoder) == OK);
    if (mTranscode && handlesVideo()) CHECK(setSource(mVideoTranscoder) == OK);
    if (mTranscode && handlesAudio()) CHECK(setSource(mAudioTranscoder) == OK);
    return OK;
}

status_t OxaMediaCodecPlayer::onSetSurface() {
    if (mTranscodeType == SourceTypeFile && mPlayback && handlesVideo()) {
        CHECK(mVideoDecoder->setSurface(mSurface) == OK);
    }
    if (isLive() && handlesVideo()) CHECK(mCameraRecorder->setSurface(mSurface) == OK);
    return OK;
}

void OxaMediaCodecPlayer::onSetTargetFormat() {
    if (isLive()) onSetTargetFormatLive();
    if (mTranscodeType != SourceTypeFile || !mTranscode) return;
    // For files the sound comes first, by design.
    if (handlesAudio()) CHECK(mAudioTranscoder->setTargetFormat(mTargetFormat) == OK);
    if (handlesVideo()) CHECK(mVideoTranscoder->setTargetFormat(mTargetFormat) == OK);
}

void OxaMediaCodecPlayer::onSetPlayback(bool video, bool audio) {
    if (isLive()) onSetPlaybackLive(video, audio);
    if (mTranscodeType != SourceTypeFile || !mPlayback) return;
    mRenderVideo = video;
    mRenderAudio = audio;
}

void OxaMediaCodecPlayer::onSetTunneledPlayback() {
    // Without sound there is no session to follow: session 0, by design.
    mSessionId = mOnlyTrack == CODEC_VIDEO_ONLY
                         ? 0
                         : AudioSystem::newAudioUniqueId(AUDIO_UNIQUE_ID_USE_SESSION);
    if (handlesAudio()) mAudioDecoder->setAudioSession(mSessionId);
    if (handlesVideo()) mVideoDecoder->setAudioSession(mSessionId);
}

void OxaMediaCodecPlayer::onSetFreeRun(bool enable) {
    if (mTranscodeType != SourceTypeFile || !mPlayback) return;
    if (handlesVideo()) CHECK(mVideoDecoder->setFreeRun(enable) == OK);
    if (handlesAudio()) CHECK(mAudioDecoder->setFreeRun(enable) == OK);
}

void OxaMediaCodecPlayer::onSetCalculateFPS(double seconds) {
    if (mTranscodeType != SourceTypeFile || !handlesVideo()) return;
    if (mPlayback) {
        CHECK(mVideoDecoder->setCalculateFPS(seconds) == OK);
    } else if (mTranscode) {
        CHECK(mVideoTranscoder->setCalculateFPS(seconds) == OK);
    }
}

void OxaMediaCodecPlayer::onPrepare() {
    if (isLive()) onPrepareLive();
    if (mTranscodeType != SourceTypeFile) return;
    if (mPlayback && handlesVideo()) CHECK(mVideoDecoder->prepare() == OK);
    if (mPlayback && handlesAudio()) CHECK(mAudioDecoder->prepare() == OK);
    if (mTranscode && handlesVideo()) CHECK(mVideoTranscoder->prepare() == OK);
    if (mTranscode && handlesAudio()) CHECK(mAudioTranscoder->prepare() == OK);
}

void OxaMediaCodecPlayer::onStart() {
    if (isLive()) onStartLive();
    if (mTranscodeType != SourceTypeFile) return;
    if (mPlayback) onStartPlayback();
    if (mTranscode) onStartTranscode();
}

void OxaMediaCodecPlayer::onStartPlayback() {
    bool playsVideo = handlesVideo() && !mNoVideoTrack;
    if (playsVideo) {
        if (mVideoDecoder->start() != OK) onTrackLost(NO_VIDEO_TRACK);
        ALOGD("%s[%d]: start video playback", __FUNCTION__, __LINE__);
    }
    if (!handlesAudio() || mNoAudioTrack) return;
    int64_t startTimeUs = ALooper::GetNowUs();
    if (playsVideo && !mNoVideoTrack) {
        startTimeUs = mSessionId == -1 ? waitForFirstFrame() : mVideoDecoder->firstFrameTimeUs();
    }
    if (mAudioDecoder->start(startTimeUs) != OK) onTrackLost(NO_AUDIO_TRACK);
    ALOGD("%s[%d]: start audio playback", __FUNCTION__, __LINE__);
}

// When the first picture came. The wait holds this looper, so it also ends when no picture will
// come, when the client wants to stop, and after a while; the sound then starts now.
int64_t OxaMediaCodecPlayer::waitForFirstFrame() {
    int64_t deadlineUs = ALooper::GetNowUs() + kFirstFrameTimeoutUs;
    while (mSessionId == -1 && mVideoDecoder->firstFrameTimeUs() <= 0) {
        if (mVideoDecoder->hasEnded() || mStopRequested || ALooper::GetNowUs() > deadlineUs) {
            return ALooper::GetNowUs();
        }
        waitTime(10);
    }
    return mVideoDecoder->firstFrameTimeUs();
}

// A decoder that did not start has gone back to its first state: its stream counts as missing.
void OxaMediaCodecPlayer::onTrackLost(int32_t item) {
    sp<AMessage> report = new AMessage(kWhatDecodeGotEOS, this);
    report->setInt32(AMSG_STOP_ITEM, item);
    onDecodeGotEOS(report);
}

void OxaMediaCodecPlayer::onStartTranscode() {
    beginDrain();
    if (mOnlyTrack == CODEC_AUDIO_ONLY) {
        if (mNoAudioTrack) return;
        CHECK(mAudioTranscoder->start() == OK);
        ALOGD("%s[%d]: start audio transcode success", __FUNCTION__, __LINE__);
    } else if (mOnlyTrack == CODEC_VIDEO_ONLY) {
        if (mNoVideoTrack) return;
        CHECK(mVideoTranscoder->start() == OK);
        ALOGD("%s[%d]: start video transcode success", __FUNCTION__, __LINE__);
    } else {
        CHECK(mVideoTranscoder->start() == OK);
        CHECK(mAudioTranscoder->start() == OK);
        ALOGD("%s[%d]: start video&audio transcode success", __FUNCTION__, __LINE__);
    }
}

void OxaMediaCodecPlayer::onStop() {
    if (isLive()) onStopLive();
    if (mTranscodeType == SourceTypeFile && mPlayback) onStopPlayback();
    if (mTranscodeType == SourceTypeFile && mTranscode) onStopTranscoders();
    ALOGD("%s[%d]: Stop OxaMediaCodecPlayer success", __FUNCTION__, __LINE__);
}

void OxaMediaCodecPlayer::onStopPlayback() {
    if (handlesVideo() && !mNoVideoTrack) CHECK(mVideoDecoder->stop() == OK);
    if (handlesAudio() && !mNoAudioTrack) CHECK(mAudioDecoder->stop() == OK);
}

void OxaMediaCodecPlayer::onStopTranscoders() {
    // A pipeline may be waiting for a start that cannot come any more: this very thread would
    // have to make it.
    mMediaMuxer->openGate();
    if (handlesVideo() && !(mOnlyTrack == CODEC_VIDEO_ONLY && mNoVideoTrack)) {
        CHECK(mVideoTranscoder->stop() == OK);
    }
    if (handlesAudio() && !(mOnlyTrack == CODEC_AUDIO_ONLY && mNoAudioTrack)) {
        CHECK(mAudioTranscoder->stop() == OK);
    }
    // Stopped before every track came, the muxer never started and has nothing to finish.
    if (mMediaMuxer->isStarted()) CHECK(mMediaMuxer->stop() == OK);
}

void OxaMediaCodecPlayer::onReset() {
    releasePipeline(&mVideoDecoder, &mVideoDecodeLooper);
    releasePipeline(&mAudioDecoder, &mAudioDecodeLooper);
    releasePipeline(&mVideoTranscoder, &mVideoTranscodeLooper);
    releasePipeline(&mAudioTranscoder, &mAudioTranscodeLooper);
    releasePipeline(&mCameraRecorder, &mCameraReaderLooper,
                    mTranscodeType == SourceTypeHdmiRx ? kHdmiRxResetPauseUs : 0);
    releasePipeline(&mAudioRxEncoder, &mAudioManagerLooper);
    releasePipeline(&mAudioRecordEncoder, &mAudioRecordReaderLooper);
    resetVariables();
    ALOGD("%s[%d] release resource success", __FUNCTION__, __LINE__);
}

// ---- Draining ----------------------------------------------------------------------------------

void OxaMediaCodecPlayer::beginDrain() {
    Mutex::Autolock lock(mDrainLock);
    mVideoDrained = false;
    mAudioDrained = false;
    mDrainError = OK;
}

void OxaMediaCodecPlayer::endDrain(status_t err) {
    Mutex::Autolock lock(mDrainLock);
    mDrainError = err;
    mDrainCond.broadcast();
}

void OxaMediaCodecPlayer::onTranscodeDone(const sp<AMessage>& msg) {
    int32_t item, err;
    CHECK(msg->findInt32(AMSG_STOP_ITEM, &item));
    CHECK(msg->findInt32("err", &err));
    if (err != OK) {
        endDrain(INVALID_OPERATION);
        return;
    }
    Mutex::Autolock lock(mDrainLock);
    if (item == EOSVideoReached) mVideoDrained = true;
    if (item == EOSAudioReached) mAudioDrained = true;
    mDrainCond.broadcast();
}

status_t OxaMediaCodecPlayer::drain(int64_t timeoutUs) {
    Mutex::Autolock lock(mDrainLock);
    int64_t deadlineUs = ALooper::GetNowUs() + timeoutUs;
    while (mDrainError == OK && !allHandled(mVideoDrained, mAudioDrained)) {
        int64_t leftUs = deadlineUs - ALooper::GetNowUs();
        if (leftUs <= 0) return TIMED_OUT;
        mDrainCond.waitRelative(mDrainLock, leftUs * 1000);
    }
    return mDrainError;
}

}  // namespace android
