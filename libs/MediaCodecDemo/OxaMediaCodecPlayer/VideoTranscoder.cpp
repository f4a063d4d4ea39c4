// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "VideoTranscoder"

#include "VideoTranscoder.h"

#include <media/stagefright/foundation/MediaDefs.h>
#include <mediadrm/ICrypto.h>

#include "FixedSites.h"

namespace android {

namespace {

constexpr int32_t kColorFormatSurface = 0x7F000789;
constexpr int32_t kDefaultFrameRate = 30;
constexpr int32_t kDefaultBitsPerPixel = 15;
constexpr int64_t kSyncIntervalFrames = 30;

}  // namespace

const FileTranscoder::Kind VideoTranscoder::kKind = {
        {LOG_TAG, "Video", "video", "video/", sites::VideoTranscoder::kShared, true},
        TrackEncoder::Kind::video(LOG_TAG, sites::kTranscoderTexts),
        "V-DecoderLooper",
        "V-DecodeCBLooper",
        VIDEO_TRACK,
        NO_VIDEO_TRACK,
        sites::VideoTranscoder::kShared,
};

VideoTranscoder::VideoTranscoder() : FileTranscoder(kKind, mVideoTrackIndex) {}

status_t VideoTranscoder::setTargetFormat(const _AV_FORMAT_FORMAT& format) {
    logVideoTarget(LOG_TAG, format);
    return postTargetFormat(format);
}

status_t VideoTranscoder::setCalculateFPS(double seconds) {
    ALOGD("%s[%d]: interval-time=%fsec", __FUNCTION__, __LINE__, seconds);
    return postRequest(newRequest(kWhatCalculateFPS, this, AMSG_CALCULATE_FPS, seconds));
}

void VideoTranscoder::onMessageReceived(const sp<AMessage>& msg) {
    if (msg->what() != kWhatCalculateFPS) return FileTranscoder::onMessageReceived(msg);
    onCalculateFPS(msg);
    replyWithError(msg, OK);
}

void VideoTranscoder::onCalculateFPS(const sp<AMessage>& msg) {
    double seconds;
    mDecodedFrames = 0;
    mEncodedFrames = 0;
    mDecFramesSinceReport = 0;
    mEncFramesSinceReport = 0;
    CHECK_TEXT(msg->findDouble(AMSG_CALCULATE_FPS, &seconds), sites::VideoTranscoder::kFile,
               sites::VideoTranscoder::kCalculateFps,
               "msg->findDouble(AMSG_CALCULATE_FPS, &mCalculateFPS)");
    mCalculateFPS = seconds;
}

status_t VideoTranscoder::onPrepare() {
    sp<AMessage> trackFormat;
    AString mime;
    status_t err = openTrack(&trackFormat, &mime);
    if (err != OK) return err;
    createDecoder(mime);
    createEncoder(MEDIA_MIMETYPE_VIDEO_AVC);
    // The encoder comes first: its surface is the decoder's output.
    sp<AMessage> encoderFormat = buildFormats(trackFormat);
    attachEncoderRelay();
    err = configureEncoder(encoderFormat);
    if (err != OK) return err;
    return configureDecoder(trackFormat);
}

// Adds the conversions that are asked of the decoder to the track's format and returns the
// encoder's.
sp<AMessage> VideoTranscoder::buildFormats(const sp<AMessage>& trackFormat) {
    _AV_FORMAT_FORMAT* target = mTargetFormat;
    sp<AMessage> format = new AMessage;
    trackFormat->setInt32("eWid", target->width);
    trackFormat->setInt32("eHei", target->height);
    format->setString(AMSG_MIME, MEDIA_MIMETYPE_VIDEO_AVC);
    format->setInt32("width", target->width);
    format->setInt32("height", target->height);

    if (target->frameRate >= 1) {
        trackFormat->setInt32("eFps", target->frameRate);
        format->setInt32("frame-rate", target->frameRate);
    } else if (trackFormat->findInt32("frame-rate", &target->frameRate)) {
        format->setInt32("frame-rate", target->frameRate);
    } else {
        format->setInt32("frame-rate", kDefaultFrameRate);
    }
    if (target->bitRate < 0) {
        target->bitRate = target->width * target->height * kDefaultBitsPerPixel;
    }
    format->setInt32("bitrate", target->bitRate);
    format->setInt32("i-frame-interval", target->iFrameInterval);
    format->setInt32("color-format", kColorFormatSurface);
    if (static_cast<uint32_t>(target->deinterlace) <= 2) {
        trackFormat->setInt32("video-de-interlace", target->deinterlace);
    }
    format->setInt32("level", target->level);
    format->setInt32("profile", target->profile);
    return format;
}

status_t VideoTranscoder::configureDecoder(const sp<AMessage>& format) {
    status_t err = mEncoderCodec->createInputSurface(&mInputProducer);
    if (err == OK) {
        mInputSurface = new Surface(mInputProducer);
        err = mDecoderCodec->configure(format, mInputSurface, NULL, 0 /* flags */);
    }
    if (err != OK) dropDecoder(err);
    return err;
}

status_t VideoTranscoder::onStart() {
    if (reportsFrameRate()) {
        int64_t nowUs = ALooper::GetNowUs();
        mStartTimeUs = nowUs;
        mDecLastReportUs = nowUs;
        mDecLastFrameUs = nowUs;
        mEncLastReportUs = nowUs;
        mEncLastFrameUs = nowUs;
    }
    status_t err = startDecoder();
    CHECK_SITE(sites::VideoTranscoder::kDecoderStarted, err == OK);
    ALOGD("start decoder success");
    return OK;
}

void VideoTranscoder::onStop() {
    stopCodecs();
    mState = STOPPED;
}

void VideoTranscoder::onReset() {
    releaseAll();
    mInputSurface.clear();
    mInputProducer.clear();
    ALOGD("%s[%d]: VideoTranscoder reset success", __FUNCTION__, __LINE__);
}

void VideoTranscoder::handleDecoderInputBuffer(uint32_t index) {
    int64_t timeUs;
    if (feedDecoder(index, &timeUs) && reportsFrameRate()) countFrame(kDecoderSide);
}

// The decoder gets no end of stream of its own: the end goes to the encoder's surface.
void VideoTranscoder::onInputEnd(uint32_t /* index */) {
    status_t err = mEncoderCodec->signalEndOfInputStream();
    if (err == OK) return;
    signalEOS();
    reportDone(err);
}

void VideoTranscoder::handleDecoderOutputBuffer(uint32_t index, uint32_t /* offset */,
                                                uint32_t /* size */, int64_t /* timeUs */,
                                                int32_t /* flags */) {
    if (mState != STARTED) return;
    mDecoderCodec->renderOutputBufferAndRelease(index);
}

void VideoTranscoder::handleDecoderOutputFormatChange(const sp<AMessage>& /* format */) {
    ALOGD(LOG_RED "%s[%d]: output-format change" LOG_RESET, __FUNCTION__, __LINE__);
    // By design the line about a failure names the decoder.
    if (startEncoder(mDecoderName)) ALOGD("start encoder success");
}

// The encoder is fed by its surface.
void VideoTranscoder::handleEncoderInputBuffer(uint32_t /* index */) {}

void VideoTranscoder::handleEncoderOutputBuffer(uint32_t index, uint32_t offset, uint32_t size,
                                                int64_t timeUs, int32_t flags) {
    if (mState != STARTED) return;
    if (flags & MediaCodec::BUFFER_FLAG_EOS) {
        signalEOS();
        reportDone(OK);
        return;
    }
    if (!mTrackEncoder.isWriting()) {
        mEncoderCodec->releaseOutputBuffer(index);
        return;
    }
    sp<MediaCodecBuffer> buffer;
    status_t err = mEncoderCodec->getOutputBuffer(index, &buffer);
    if (!mEncodeCBHandler->acceptedEq(err, LOG_TAG, sites::VideoTranscoder::kOutputBuffer)) return;
    if (buffer == NULL) {
        ALOGE(LOG_RED "%s[%d]: Failed to getOutputBuffer" LOG_RESET, __FUNCTION__, __LINE__);
        return;
    }
    writeSample(index, buffer, offset, size, timeUs, flags);
    if (++mEncodedFrames % kSyncIntervalFrames == 0) {
        sp<AMessage> msg = new AMessage(kWhatSyncVideoTime, mPlayerHandler);
        msg->setInt64("video-pts", timeUs);
        msg->post();
    }
    if (reportsFrameRate()) countFrame(kEncoderSide);
}

void VideoTranscoder::waitPaceStep() {
    Mutex::Autolock lock(mPaceMutex);
    mPaceCond.waitRelative(mPaceMutex, kPaceStepNs);
}

void VideoTranscoder::signalEOS() {
    if (reportsFrameRate()) {
        mEndTimeUs = ALooper::GetNowUs();
        double seconds = (mEndTimeUs - mStartTimeUs) / 1e6;
        postFrameRate(kWhatAverageFPS, "average-fps", mDecodedFrames / seconds, kDecoderSide);
        postFrameRate(kWhatAverageFPS, "average-fps", mEncodedFrames / seconds, kEncoderSide);
    }
    reportEnd();
}

void VideoTranscoder::countFrame(CodecType side) {
    bool decoder = side == kDecoderSide;
    std::atomic<int64_t>& framesSinceReport =
            decoder ? mDecFramesSinceReport : mEncFramesSinceReport;
    int64_t& lastReportUs = decoder ? mDecLastReportUs : mEncLastReportUs;
    int64_t& lastFrameUs = decoder ? mDecLastFrameUs : mEncLastFrameUs;
    if (decoder) ++mDecodedFrames;
    ++framesSinceReport;
    int64_t nowUs = ALooper::GetNowUs();
    double elapsedSec = (nowUs - lastReportUs) / 1e6;
    lastFrameUs = nowUs;
    if (elapsedSec < mCalculateFPS) return;
    lastReportUs = nowUs;
    postFrameRate(kWhatInstantFPS, "instant-fps", framesSinceReport / elapsedSec, side);
    framesSinceReport = 0;
}

void VideoTranscoder::postFrameRate(uint32_t what, const char* key, double rate, CodecType side) {
    sp<AMessage> msg = new AMessage(what, mStatusHandler);
    msg->setDouble(key, rate);
    msg->setInt32("codec-type", side);
    msg->post();
}

}  // namespace android
