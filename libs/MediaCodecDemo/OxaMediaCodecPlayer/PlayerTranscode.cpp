// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "OxaMediaCodecPlayer"

#include "AudioTranscoder.h"
#include "PlayerSource.h"
#include "TranscodeDrain.h"
#include "VideoTranscoder.h"

namespace android {

// A file that is transcoded into another one.
class OxaMediaCodecPlayer::TranscodeSource : public Source {
  public:
    using Source::Source;

    const char* name() const override { return "SourceTypeFile"; }
    State stateWithFile() const override { return WAIT_MUXER; }

    void createPipelines() override {
        if (handlesVideo()) {
            createPipeline(&mVideoTranscoder, &mPlayer.mVideoTranscodeLooper,
                           "VideoTranscodeLooper");
        }
        if (handlesAudio()) {
            createPipeline(&mAudioTranscoder, &mPlayer.mAudioTranscodeLooper,
                           "AudioTranscodeLooper");
        }
    }

    void release() override {
        releasePipeline(&mVideoTranscoder, &mPlayer.mVideoTranscodeLooper);
        releasePipeline(&mAudioTranscoder, &mPlayer.mAudioTranscodeLooper);
    }

    void setFile() override {
        if (handlesVideo()) CHECK_PLAYER(setDataSource(mVideoTranscoder) == OK);
        if (handlesAudio()) CHECK_PLAYER(setDataSource(mAudioTranscoder) == OK);
    }

    // For files the sound comes first, by design, here and in the next two steps.
    void setMuxer() override {
        const sp<OxaMediaMuxer>& mMediaMuxer = mPlayer.mMediaMuxer;
        if (handlesAudio()) CHECK_PLAYER(mAudioTranscoder->setMuxer(mMediaMuxer) == OK);
        if (handlesVideo()) CHECK_PLAYER(mVideoTranscoder->setMuxer(mMediaMuxer) == OK);
    }

    void setStreamOutput() override {
        if (handlesAudio()) mAudioTranscoder->setStreamOutput(true);
        if (handlesVideo()) mVideoTranscoder->setStreamOutput(true);
    }

    void setTargetFormat() override {
        const _AV_FORMAT_FORMAT& mTargetFormat = mPlayer.mTargetFormat;
        if (handlesAudio()) CHECK_PLAYER(mAudioTranscoder->setTargetFormat(mTargetFormat) == OK);
        if (handlesVideo()) CHECK_PLAYER(mVideoTranscoder->setTargetFormat(mTargetFormat) == OK);
    }

    void setCalculateFPS(double seconds) override {
        if (handlesVideo()) CHECK_PLAYER(mVideoTranscoder->setCalculateFPS(seconds) == OK);
    }

    // The sound follows the picture.
    void syncVideoTime() override {
        if (!handlesVideo() || !handlesAudio()) return;
        if (mPlayer.mNoAudioTrack || mPlayer.mNoVideoTrack) return;
        mAudioTranscoder->setVideoTimeUs(mVideoTranscoder->lastTimeUs());
    }

    void prepare() override {
        if (handlesVideo()) CHECK_PLAYER(mVideoTranscoder->prepare() == OK);
        if (handlesAudio()) CHECK_PLAYER(mAudioTranscoder->prepare() == OK);
    }

    void start() override {
        mPlayer.mDrain->begin(handlesVideo(), handlesAudio());
        mPlayer.mOutputState = kOutputRecording;
        if (hasVideo()) CHECK_PLAYER(mVideoTranscoder->start() == OK);
        if (hasAudio()) CHECK_PLAYER(mAudioTranscoder->start() == OK);
        if (!hasVideo() && !hasAudio()) return;
        ALOGD("%s[%d]: start %s transcode success", __FUNCTION__, __LINE__, streams());
    }

    void stop() override {
        if (hasVideo()) CHECK_PLAYER(mVideoTranscoder->stop() == OK);
        if (hasAudio()) CHECK_PLAYER(mAudioTranscoder->stop() == OK);
    }

  private:
    // Where both streams are handled, nobody asks whether one is missing, by design.
    bool hasVideo() const { return handlesVideo() && (handlesAudio() || !mPlayer.mNoVideoTrack); }
    bool hasAudio() const { return handlesAudio() && (handlesVideo() || !mPlayer.mNoAudioTrack); }

    // The player's.
    sp<VideoTranscoder>& mVideoTranscoder = mPlayer.mVideoTranscoder;
    sp<AudioTranscoder>& mAudioTranscoder = mPlayer.mAudioTranscoder;
};

std::unique_ptr<OxaMediaCodecPlayer::Source> OxaMediaCodecPlayer::Source::createTranscode(
        OxaMediaCodecPlayer& player) {
    return std::make_unique<TranscodeSource>(player);
}

}  // namespace android
