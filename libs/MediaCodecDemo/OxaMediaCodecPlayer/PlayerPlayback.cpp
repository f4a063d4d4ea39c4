// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "OxaMediaCodecPlayer"

#include "AudioDecoder.h"
#include "PlayerSource.h"
#include "VideoDecoder.h"

namespace android {

// A file that is shown and heard.
class OxaMediaCodecPlayer::PlaybackSource : public Source {
  public:
    using Source::Source;

    State stateWithFile() const override { return WAIT_SURFACE; }
    State stateWithSurface() const override { return UNPREPARED; }

    void createPipelines() override {
        if (handlesVideo()) {
            createPipeline(&mVideoDecoder, &mPlayer.mVideoDecodeLooper, "VideoDecodeLooper");
        }
        if (handlesAudio()) {
            createPipeline(&mAudioDecoder, &mPlayer.mAudioDecodeLooper, "AudioDecodeLooper");
        }
    }

    void release() override {
        releasePipeline(&mVideoDecoder, &mPlayer.mVideoDecodeLooper);
        releasePipeline(&mAudioDecoder, &mPlayer.mAudioDecodeLooper);
    }

    void setFile() override {
        if (handlesVideo()) CHECK_PLAYER(setDataSource(mVideoDecoder) == OK);
        if (handlesAudio()) CHECK_PLAYER(setDataSource(mAudioDecoder) == OK);
    }

    void setSurface() override {
        const sp<Surface>& mSurface = mPlayer.mSurface;
        if (handlesVideo()) CHECK_PLAYER(mVideoDecoder->setSurface(mSurface) == OK);
    }

    void setPlayback(bool video, bool audio) override {
        mPlayer.mRenderVideo = video;
        mPlayer.mRenderAudio = audio;
    }

    void setFreeRun(bool enable) override {
        if (handlesVideo()) CHECK_PLAYER(mVideoDecoder->setFreeRun(enable) == OK);
        if (handlesAudio()) CHECK_PLAYER(mAudioDecoder->setFreeRun(enable) == OK);
    }

    void setCalculateFPS(double seconds) override {
        if (handlesVideo()) CHECK_PLAYER(mVideoDecoder->setCalculateFPS(seconds) == OK);
    }

    void prepare() override {
        if (handlesVideo()) CHECK_PLAYER(mVideoDecoder->prepare() == OK);
        if (handlesAudio()) CHECK_PLAYER(mAudioDecoder->prepare() == OK);
    }

    void start() override {
        if (playsVideo()) {
            if (mVideoDecoder->start() != OK) loseTrack(NO_VIDEO_TRACK);
            ALOGD("%s[%d]: start video playback", __FUNCTION__, __LINE__);
        }
        if (!playsAudio()) return;
        if (mAudioDecoder->start(soundStartTimeUs()) != OK) loseTrack(NO_AUDIO_TRACK);
        ALOGD("%s[%d]: start audio playback", __FUNCTION__, __LINE__);
    }

    void stop() override {
        if (playsVideo()) CHECK_PLAYER(mVideoDecoder->stop() == OK);
        if (playsAudio()) CHECK_PLAYER(mAudioDecoder->stop() == OK);
    }

  private:
    static constexpr int64_t kFirstFrameTimeoutUs = 3000000;

    bool playsVideo() const { return handlesVideo() && !mPlayer.mNoVideoTrack; }
    bool playsAudio() const { return handlesAudio() && !mPlayer.mNoAudioTrack; }

    int64_t soundStartTimeUs() {
        if (!playsVideo()) return ALooper::GetNowUs();
        return mPlayer.mSessionId == -1 ? waitForFirstFrame() : mVideoDecoder->firstFrameTimeUs();
    }

    // When the first picture came. The wait holds the player's looper, so it also ends when no
    // picture will come, when the client wants to stop, and after a while; the sound then starts
    // now.
    int64_t waitForFirstFrame() {
        int64_t deadlineUs = ALooper::GetNowUs() + kFirstFrameTimeoutUs;
        while (mPlayer.mSessionId == -1 && mVideoDecoder->firstFrameTimeUs() <= 0) {
            if (mVideoDecoder->hasEnded() || mPlayer.mStopRequested ||
                ALooper::GetNowUs() > deadlineUs) {
                return ALooper::GetNowUs();
            }
            mPlayer.waitTime(10);
        }
        return mVideoDecoder->firstFrameTimeUs();
    }

    // A decoder that did not start has gone back to its first state: its stream counts as missing.
    void loseTrack(int32_t item) {
        sp<AMessage> report = new AMessage(kWhatDecodeGotEOS, &mPlayer);
        report->setInt32(AMSG_STOP_ITEM, item);
        mPlayer.onDecodeGotEOS(report);
    }

    // The player's.
    sp<VideoDecoder>& mVideoDecoder = mPlayer.mVideoDecoder;
    sp<AudioDecoder>& mAudioDecoder = mPlayer.mAudioDecoder;
};

std::unique_ptr<OxaMediaCodecPlayer::Source> OxaMediaCodecPlayer::Source::createPlayback(
        OxaMediaCodecPlayer& player) {
    return std::make_unique<PlaybackSource>(player);
}

}  // namespace android
