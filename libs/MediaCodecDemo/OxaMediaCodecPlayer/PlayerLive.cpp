// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "OxaMediaCodecPlayer"

#include "AudioRecordEncoder.h"
#include "AudioRxEncoder.h"
#include "CameraRecorder.h"
#include "HdmiRxInfo.h"
#include "PlayerSource.h"

namespace android {

namespace {

constexpr int64_t kHdmiRxResetPauseUs = 1000;

bool isReceiverSoundReady() {
    AutoMutex lock(HdmiRxInfo::sLock);
    return HdmiRxInfo::GetInstance()->mAudioReady == 1;
}

}  // namespace

// A camera with a sound of the encoder's kind, previewed and recorded. The camera comes first in
// every step, by design.
template <typename AudioEncoder>
class OxaMediaCodecPlayer::LiveSource : public Source {
  public:
    LiveSource(OxaMediaCodecPlayer& player, sp<AudioEncoder>& audioEncoder,
               sp<ALooper>& audioLooper)
        : Source(player), mAudioEncoder(audioEncoder), mAudioLooper(audioLooper) {}

    bool isLive() const override { return true; }
    State stateWithSurface() const override { return WAIT_PREVIEW_PARAMS; }

    void setCamera(bool shared) override {
        if (!handlesVideo()) return;
        const int32_t mCameraType = mPlayer.mCameraType;
        const int32_t mCameraId = mPlayer.mCameraId;
        const sp<hardware::ICamera>& mICamera = mPlayer.mICamera;
        const String16& mClientName = mPlayer.mClientName;
        if (shared) {
            CHECK_PLAYER(mCameraRecorder->setDataSource(mCameraType, mICamera, mClientName) == OK);
        } else {
            CHECK_PLAYER(mCameraRecorder->setDataSource(mCameraType, mCameraId, mClientName) == OK);
        }
    }

    void setSurface() override {
        const sp<Surface>& mSurface = mPlayer.mSurface;
        if (handlesVideo()) CHECK_PLAYER(mCameraRecorder->setSurface(mSurface) == OK);
    }

    void setMuxer() override {
        const sp<OxaMediaMuxer>& mMediaMuxer = mPlayer.mMediaMuxer;
        if (handlesVideo()) CHECK_PLAYER(mCameraRecorder->setMuxer(mMediaMuxer) == OK);
        if (handlesAudio()) CHECK_PLAYER(mAudioEncoder->setMuxer(mMediaMuxer) == OK);
    }

    void setTargetFormat() override {
        _AV_FORMAT_FORMAT& mTargetFormat = mPlayer.mTargetFormat;
        if (handlesVideo()) CHECK_PLAYER(mCameraRecorder->configure(mTargetFormat) == OK);
        if (handlesAudio()) CHECK_PLAYER(mAudioEncoder->configure(&mTargetFormat) == OK);
    }

    void setPlayback(bool video, bool audio) override {
        if (handlesVideo()) CHECK_PLAYER(mCameraRecorder->setPlayback(video) == OK);
        if (handlesAudio()) CHECK_PLAYER(mAudioEncoder->setPlayback(audio) == OK);
    }

    // Failures show when it is started.
    void prepare() override {
        if (handlesVideo()) mCameraRecorder->prepare();
        if (handlesAudio()) mAudioEncoder->prepare();
    }

    void stop() override {
        // One that did not start cannot be stopped.
        if (mCameraStarted) CHECK_PLAYER(mCameraRecorder->stop() == OK);
        if (handlesAudio()) CHECK_PLAYER(mAudioEncoder->stop() == OK);
    }

  protected:
    void createLivePipelines(const char* audioLooperName) {
        if (handlesVideo()) {
            createPipeline(&mCameraRecorder, &mPlayer.mCameraReaderLooper, "CameraReaderLooper");
        }
        if (handlesAudio()) createPipeline(&mAudioEncoder, &mAudioLooper, audioLooperName);
    }

    void releasePipelines(int64_t cameraPauseUs) {
        releasePipeline(&mCameraRecorder, &mPlayer.mCameraReaderLooper, cameraPauseUs);
        releasePipeline(&mAudioEncoder, &mAudioLooper);
    }

    void logStart(const char* kind) const {
        ALOGD("%s[%d]: start %s %s transcode success", __FUNCTION__, __LINE__, kind, streams());
    }

    // The player's.
    sp<CameraRecorder>& mCameraRecorder = mPlayer.mCameraRecorder;
    sp<AudioEncoder>& mAudioEncoder;
    sp<ALooper>& mAudioLooper;
    bool mCameraStarted = false;  // by the last start
};

// A USB camera with a microphone.
class OxaMediaCodecPlayer::UsbSource : public LiveSource<AudioRecordEncoder> {
  public:
    explicit UsbSource(OxaMediaCodecPlayer& player)
        : LiveSource(player, player.mAudioRecordEncoder, player.mAudioRecordReaderLooper) {}

    const char* name() const override { return "SourceTypeUsbCamera"; }
    void createPipelines() override { createLivePipelines("AudioRecordReaderLooper"); }
    void release() override { releasePipelines(0); }

    void setAudioSource() override {
        const int32_t mAudioSource = mPlayer.mAudioSource;
        const String16& mClientName = mPlayer.mClientName;
        if (!handlesAudio()) return;
        CHECK_PLAYER(mAudioRecordEncoder->setAudioSource(mAudioSource, mClientName) == OK);
    }

    void setRecord(bool transcode) override {
        if (handlesVideo()) CHECK_PLAYER(mCameraRecorder->setRecord(transcode) == OK);
        if (handlesAudio()) CHECK_PLAYER(mAudioRecordEncoder->setRecord(transcode) == OK);
        // A camera that did not start will not report an end.
        if (!mCameraStarted) mPlayer.mVideoStopped = true;
    }

    void start() override {
        if (!handlesAudio()) {
            CHECK_PLAYER(mCameraRecorder->start() == OK);
            mCameraStarted = true;
        } else {
            // Kept so: a camera that does not start leaves its sound alone.
            mCameraStarted = handlesVideo() && mCameraRecorder->start() == OK;
            CHECK_PLAYER(mAudioRecordEncoder->start() == OK);
        }
        logStart("USB Camera");
    }

  private:
    sp<AudioRecordEncoder>& mAudioRecordEncoder = mAudioEncoder;
};

// The HDMI receiver with the sound of its signal.
class OxaMediaCodecPlayer::HdmiRxSource : public LiveSource<AudioRxEncoder> {
  public:
    explicit HdmiRxSource(OxaMediaCodecPlayer& player)
        : LiveSource(player, player.mAudioRxEncoder, player.mAudioManagerLooper) {}

    const char* name() const override { return "SourceTypeHdmiRx"; }
    void createPipelines() override { createLivePipelines("AudioManagerLooper"); }
    void release() override { releasePipelines(kHdmiRxResetPauseUs); }

    void setAudioSource() override {
        const int32_t mAudioSource = mPlayer.mAudioSource;
        if (handlesAudio()) CHECK_PLAYER(mAudioRxEncoder->setAudioSource(mAudioSource) == OK);
    }

    void setRecord(bool transcode) override {
        if (handlesVideo()) CHECK_PLAYER(mCameraRecorder->setRecord(transcode) == OK);
        if (!handlesAudio()) return;
        // What a recording began with also ends it: the signal's sound may come and go meanwhile.
        if (mPlayer.mOutputState == kOutputReady) mRecordsSound = isReceiverSoundReady();
        if (mRecordsSound) {
            CHECK_PLAYER(mAudioRxEncoder->setRecord(transcode, -1) == OK);
        } else {
            // By design an audio track is pretended, so that the muxer starts and stops on the
            // picture alone.
            mPlayer.mAudioTrackAdded = true;
            mPlayer.mAudioStopped = true;
        }
    }

    void start() override {
        if (handlesVideo()) {
            CHECK_PLAYER(mCameraRecorder->start() == OK);
            mCameraStarted = true;
            if (handlesAudio()) CHECK_PLAYER(mAudioRxEncoder->start(-1) == OK);
        } else {
            const int64_t now = ALooper::GetNowUs();
            CHECK_PLAYER(mAudioRxEncoder->start(now) == OK);
        }
        logStart("HDMI-Rx");
    }

  private:
    sp<AudioRxEncoder>& mAudioRxEncoder = mAudioEncoder;
    bool mRecordsSound = false;  // the signal had sound when the recording began
};

std::unique_ptr<OxaMediaCodecPlayer::Source> OxaMediaCodecPlayer::Source::createUsb(
        OxaMediaCodecPlayer& player) {
    return std::make_unique<UsbSource>(player);
}

std::unique_ptr<OxaMediaCodecPlayer::Source> OxaMediaCodecPlayer::Source::createHdmiRx(
        OxaMediaCodecPlayer& player) {
    return std::make_unique<HdmiRxSource>(player);
}

}  // namespace android
