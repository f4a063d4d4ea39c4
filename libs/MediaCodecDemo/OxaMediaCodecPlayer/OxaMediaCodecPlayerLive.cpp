// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// The player's steps for live sources: a camera or the HDMI receiver, with its sound.

#define LOG_TAG "OxaMediaCodecPlayer"

#include <unistd.h>

#include "HdmiRxInfo.h"
#include "OxaMediaCodecPlayer.h"

namespace android {

void OxaMediaCodecPlayer::onSetCameraSource() {
    if (!handlesVideo()) return;
    CHECK(mCameraRecorder->setDataSource(mCameraType, mCameraId, mClientName) == OK);
}

void OxaMediaCodecPlayer::onSetCameraSource2() {
    if (!handlesVideo()) return;
    CHECK(mCameraRecorder->setDataSource(mCameraType, mICamera, mClientName) == OK);
}

void OxaMediaCodecPlayer::onSetAudioSource() {
    if (!handlesAudio()) return;
    if (mTranscodeType == SourceTypeHdmiRx) {
        CHECK(mAudioRxEncoder->setAudioSource(mAudioSource) == OK);
    } else if (mTranscodeType == SourceTypeUsbCamera) {
        CHECK(mAudioRecordEncoder->setAudioSource(mAudioSource, mClientName) == OK);
    }
}

void OxaMediaCodecPlayer::onSetTargetFormatLive() {
    if (handlesVideo()) CHECK(mCameraRecorder->configure(mTargetFormat) == OK);
    if (!handlesAudio()) return;
    if (mTranscodeType == SourceTypeHdmiRx) {
        CHECK(mAudioRxEncoder->configure(&mTargetFormat) == OK);
    } else {
        CHECK(mAudioRecordEncoder->configure(&mTargetFormat) == OK);
    }
}

void OxaMediaCodecPlayer::onSetPlaybackLive(bool video, bool audio) {
    if (handlesVideo()) CHECK(mCameraRecorder->setPlayback(video) == OK);
    if (!handlesAudio()) return;
    if (mTranscodeType == SourceTypeHdmiRx) {
        CHECK(mAudioRxEncoder->setPlayback(audio) == OK);
    } else {
        CHECK(mAudioRecordEncoder->setPlayback(audio) == OK);
    }
}

void OxaMediaCodecPlayer::onSetTranscode(bool transcode) {
    if (!isLive()) return;
    mSwitchOnPending = false;
    if (transcode) {
        if (!switchOn()) return;
    } else {
        if (!mTranscode) return;
        mTranscode = 0;
        // A pipeline may wait for a start of the muxer that will not come any more.
        if (mMediaMuxer != NULL) mMediaMuxer->openGate();
    }
    tellRecordingSwitch();
    if (!mTranscode && mOutputFdOwned) {
        // The field keeps its value; it is not closed a second time.
        close(mOutputFormat.fileDesc);
        mOutputFdOwned = false;
    }
}

// False: recording stays as it is.
bool OxaMediaCodecPlayer::switchOn() {
    bool wasOn = mTranscode;
    if (wasOn && mMediaMuxer != NULL) return true;
    if (mMediaMuxer != NULL) {
        // The former recording is still being finished; its last step comes back here.
        mSwitchOnPending = true;
        return false;
    }
    mTranscode = 1;
    bool descriptorClosed = mOutputFormat.type == kOutputDescriptor && !mOutputFdOwned;
    if (!descriptorClosed && onSetMuxer() == OK) return true;
    ALOGE("%s[%d]: recording stays off: output of type %d cannot be used", __FUNCTION__, __LINE__,
          mOutputFormat.type);
    mTranscode = wasOn;
    return false;
}

bool OxaMediaCodecPlayer::isReceiverSoundReady() {
    AutoMutex lock(HdmiRxInfo::sLock);
    return HdmiRxInfo::GetInstance()->mAudioReady == 1;
}

void OxaMediaCodecPlayer::tellRecordingSwitch() {
    if (handlesVideo()) CHECK(mCameraRecorder->setRecord(mTranscode) == OK);
    if (!handlesAudio()) return;
    if (mTranscodeType == SourceTypeUsbCamera) {
        CHECK(mAudioRecordEncoder->setRecord(mTranscode) == OK);
    } else if (!isReceiverSoundReady()) {
        // By design an audio track is pretended, so that the muxer starts and stops on the picture
        // alone.
        mAudioTrackAdded = true;
        mAudioStopped = true;
    } else {
        CHECK(mAudioRxEncoder->setRecord(mTranscode, -1) == OK);
    }
}

// Failures show when it is started.
void OxaMediaCodecPlayer::onPrepareLive() {
    if (handlesVideo()) mCameraRecorder->prepare();
    if (!handlesAudio()) return;
    if (mTranscodeType == SourceTypeHdmiRx) {
        mAudioRxEncoder->prepare();
    } else {
        mAudioRecordEncoder->prepare();
    }
}

void OxaMediaCodecPlayer::onStartLive() {
    bool isHdmiRx = mTranscodeType == SourceTypeHdmiRx;
    mLiveRuns = true;
    if (handlesVideo()) {
        status_t err = mCameraRecorder->start();
        mCameraStarted = err == OK;
        // Kept so: a USB camera that does not start leaves its sound alone.
        if (isHdmiRx || !handlesAudio()) CHECK(err == OK);
    }
    if (handlesAudio() && isHdmiRx) {
        CHECK(mAudioRxEncoder->start(handlesVideo() ? -1 : ALooper::GetNowUs()) == OK);
    } else if (handlesAudio()) {
        CHECK(mAudioRecordEncoder->start() == OK);
    }
    const char* streams = "video&audio";
    if (!handlesVideo()) streams = "audio";
    if (!handlesAudio()) streams = "video";
    ALOGD("%s[%d]: start %s %s transcode success", __FUNCTION__, __LINE__,
          isHdmiRx ? "HDMI-Rx" : "USB Camera", streams);
}

void OxaMediaCodecPlayer::onStopLive() {
    mLiveRuns = false;
    mSwitchOnPending = false;
    // A pipeline may wait for a start that cannot come any more: this very thread would have to
    // make it.
    if (mMediaMuxer != NULL) mMediaMuxer->openGate();
    // One that did not start cannot be stopped.
    if (handlesVideo() && mCameraStarted) CHECK(mCameraRecorder->stop() == OK);
    mCameraStarted = false;
    if (handlesAudio() && mTranscodeType == SourceTypeHdmiRx) {
        CHECK(mAudioRxEncoder->stop() == OK);
    } else if (handlesAudio()) {
        CHECK(mAudioRecordEncoder->stop() == OK);
    }
    // Nothing is written any more. Not every pipeline reports its own stop, and a report that comes
    // later finds nothing to do.
    onStopMuxer();
}

}  // namespace android
