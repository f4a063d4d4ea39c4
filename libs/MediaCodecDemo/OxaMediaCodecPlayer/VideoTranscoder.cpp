// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "VideoTranscoder"

#include "VideoTranscoder.h"

#include <datasource/FileSource.h>
#include <media/stagefright/MediaErrors.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/MediaDefs.h>
#include <mediadrm/ICrypto.h>
#include <utils/Timers.h>

#include "CodecCallback.h"
#include "TrackReading.h"

namespace android {

namespace {

constexpr int32_t kColorFormatSurface = 0x7F000789;
constexpr int32_t kDefaultFrameRate = 30;
constexpr int32_t kDefaultBitsPerPixel = 15;
constexpr int64_t kSyncIntervalFrames = 30;
constexpr int64_t kStreamLeadUs = 10000;
constexpr nsecs_t kPaceStepNs = 10000;

}  // namespace

VideoTranscoder::VideoTranscoder()
    : mTargetFormat(NULL),
      mStartTimeUs(0),
      mEndTimeUs(0),
      mDecLastReportUs(0),
      mDecLastFrameUs(0),
      mEncLastReportUs(0),
      mEncLastFrameUs(0),
      mDecodedFrames(0),
      mEncodedFrames(0),
      mDecFramesSinceReport(0),
      mEncFramesSinceReport(0),
      mCalculateFPS(-1.0),
      mLastTimeUs(-1),
      mVideoTrackIndex(-1),
      mFirstOutput(true),
      mStreamOutput(false),
      mInputEOS(false),
      mStreamStartUs(0),
      mState(UNINITIALIZED),
      mWriting(false),
      mStopRequested(false),
      mRefused(false),
      mCodecsStopped(false) {
    mCodecLooper = startLooper("V-DecoderLooper");
    mEncoderLooper = startLooper("V-EncoderLooper");
}

VideoTranscoder::~VideoTranscoder() {
    // A codec must not be destroyed unreleased, and a reset in PREPARED releases nothing.
    releaseCodec(mDecoderCodec);
    releaseCodec(mEncoderCodec);
}

status_t VideoTranscoder::setDataSource(const char* path) {
    return postRequest(newPathRequest(kWhatSetDataSource, this, path));
}

status_t VideoTranscoder::setDataSource(int fd, int64_t offset, int64_t length) {
    return postRequest(newFileRequest(kWhatSetDataSourceFd, this, fd, offset, length));
}

status_t VideoTranscoder::setMuxer(const sp<OxaMediaMuxer>& muxer) {
    sp<AMessage> msg = new AMessage(kWhatSetMuxer, this);
    msg->setObject(AMSG_MUXER, muxer);
    return postRequest(msg);
}

status_t VideoTranscoder::setTargetFormat(const _AV_FORMAT_FORMAT& format) {
    ALOGI(LOG_GREEN
          "TargetFormat: Video:%dx%d/%dfps/%dbps/%dsec/deinterlace:%d/bitrateMode:%d/level:%d/"
          "profile:%d" LOG_RESET,
          format.width, format.height, format.frameRate, format.bitRate, format.iFrameInterval,
          format.deinterlace, format.bitrateMode, format.level, format.profile);
    sp<AMessage> msg = new AMessage(kWhatSetTargetFormat, this);
    msg->setPointer(AMSG_TARTGET_FORMAT, const_cast<_AV_FORMAT_FORMAT*>(&format));
    return postRequest(msg);
}

status_t VideoTranscoder::prepare() {
    return postRequest(new AMessage(kWhatPrepare, this));
}

status_t VideoTranscoder::start() {
    return postRequest(new AMessage(kWhatStart, this));
}

status_t VideoTranscoder::stop() {
    return postRequest(new AMessage(kWhatStop, this));
}

status_t VideoTranscoder::reset() {
    return postRequest(new AMessage(kWhatReset, this));
}

status_t VideoTranscoder::setCalculateFPS(double seconds) {
    ALOGD("%s[%d]: interval-time=%fsec", __FUNCTION__, __LINE__, seconds);
    sp<AMessage> msg = new AMessage(kWhatCalculateFPS, this);
    msg->setDouble(AMSG_CALCULATE_FPS, seconds);
    return postRequest(msg);
}

void VideoTranscoder::onMessageReceived(const sp<AMessage>& msg) {
    status_t err = OK;
    switch (msg->what()) {
        case kWhatSetDataSource:
            onSetDataSource(msg);
            break;
        case kWhatSetDataSourceFd:
            onSetDataSourceFd(msg);
            break;
        case kWhatSetMuxer:
            onSetMuxer(msg);
            break;
        case kWhatSetTargetFormat:
            onSetTargetFormat(msg);
            break;
        case kWhatPrepare:
            CHECK_AT(111, mState == UNPREPARED);
            err = onPrepare();
            if (err == OK) mState = PREPARED;
            break;
        case kWhatCalculateFPS:
            onCalculateFPS(msg);
            break;
        case kWhatStart:
            CHECK_AT(133, mState == PREPARED);
            err = onStart();
            CHECK_AT(140, err == OK);
            break;
        case kWhatStop:
            // The client cannot know that a refused track has stopped this pipeline already.
            if (!mRefused) CHECK_AT(147, mState == STARTED);
            onStop();
            mRefused = false;
            mState = STOPPED;
            break;
        case kWhatReset:
            if (mState == STARTED) onStop();
            if (mState == STARTED || mState == STOPPED) onReset();
            mState = UNINITIALIZED;
            break;
        case kWhatSelfStop:
            onSelfStop();
            return;
        case kWhatSelfReset:
            onReset();
            return;
        default:
            TRESPASS_AT(171);
    }
    replyWithError(msg, err);
}

void VideoTranscoder::onSetDataSource(const sp<AMessage>& msg) {
    CHECK_AT(60, mState == UNINITIALIZED);
    AString inputFile;
    CHECK_AT(63, msg->findString(AMSG_PATH, &inputFile));
    mDataSource = new FileSource(inputFile.c_str());
    mState = WAIT_MUXER;
}

void VideoTranscoder::onSetDataSourceFd(const sp<AMessage>& msg) {
    CHECK_AT(73, mState == UNINITIALIZED);
    int32_t fileId;
    int64_t fileOffset, fileLength;
    CHECK_AT(78, msg->findInt32(AMSG_FILE_ID, &fileId));
    CHECK_AT(79, msg->findInt64(AMSG_FILE_OFFSET, &fileOffset));
    CHECK_AT(80, msg->findInt64(AMSG_FILE_LENGTH, &fileLength));
    mDataSource = new FileSource(reopenDescriptor(fileId), fileOffset, fileLength);
    mState = WAIT_MUXER;
}

void VideoTranscoder::onSetMuxer(const sp<AMessage>& msg) {
    CHECK_AT(89, mState == WAIT_MUXER);
    sp<RefBase> obj;
    CHECK_AT(91, msg->findObject(AMSG_MUXER, &obj));
    mMuxer = static_cast<OxaMediaMuxer*>(obj.get());
    mState = WAIT_TARGET_FORMAT;
}

void VideoTranscoder::onSetTargetFormat(const sp<AMessage>& msg) {
    CHECK_AT(100, mState == WAIT_TARGET_FORMAT);
    void* format;
    CHECK_AT(102, msg->findPointer(AMSG_TARTGET_FORMAT, &format));
    mTargetFormat = static_cast<_AV_FORMAT_FORMAT*>(format);
    mState = UNPREPARED;
}

void VideoTranscoder::onCalculateFPS(const sp<AMessage>& msg) {
    double seconds;
    mDecodedFrames = 0;
    mEncodedFrames = 0;
    mDecFramesSinceReport = 0;
    mEncFramesSinceReport = 0;
    LOG_ALWAYS_FATAL_IF(!msg->findDouble(AMSG_CALCULATE_FPS, &seconds), "%s",
                        __FILE__
                        ":127 CHECK(msg->findDouble(AMSG_CALCULATE_FPS, &mCalculateFPS)) failed.");
    mCalculateFPS = seconds;
}

status_t VideoTranscoder::onPrepare() {
    // 1. Open the file.
    status_t err = openExtractor(mDataSource, &mExtractor, __FUNCTION__, __LINE__);
    if (err != OK) return err;

    // 2. Take the first video track.
    sp<AMessage> trackFormat;
    AString mime;
    if (!findVideoTrack(&trackFormat, &mime)) {
        ALOGD(LOG_RED "%s[%d]: No video track" LOG_RESET, __FUNCTION__, __LINE__);
        postReport(kWhatDecodeGotEOS, AMSG_STOP_ITEM, NO_VIDEO_TRACK);
        return UNKNOWN_ERROR;
    }

    // 3. and 4. Make the two codecs.
    createDecoder(mime);
    createEncoder();

    // 5. to 8. Configure them, the encoder first: its surface is the decoder's output.
    sp<AMessage> encoderFormat = buildFormats(trackFormat);
    attachEncoderRelay();
    err = configureEncoder(encoderFormat);
    if (err != OK) return err;
    return configureDecoder(trackFormat);
}

bool VideoTranscoder::findVideoTrack(sp<AMessage>* format, AString* mime) {
    for (size_t i = 0; i < mExtractor->countTracks(); ++i) {
        CHECK_AT(294, mExtractor->getTrackFormat(i, format) == OK);
        CHECK_AT(297, (*format)->findString(AMSG_MIME, mime));
        if (!mime->startsWithIgnoreCase("video/")) continue;
        CHECK_AT(301, mExtractor->selectTrack(i) == OK);
        return true;
    }
    return false;
}

void VideoTranscoder::createDecoder(const AString& mime) {
    releaseCodec(mDecoderCodec);
    sp<MediaCodec> decoder = MediaCodec::CreateByType(mCodecLooper, mime, false /* encoder */);
    CHECK_AT(304, decoder != NULL);
    decoder->getName(&mDecoderName);
    ALOGD(LOG_RED "%s[%d]: Video decoder component name: %s" LOG_RESET, __FUNCTION__, __LINE__,
          mDecoderName.c_str());
    mDecoderCodec = decoder;
    mDecodeCBHandler = new DecodeCBHandler(this);
    sp<AMessage> callback =
            attachCallbackRelay("V-DecodeCBLooper", mDecodeCBHandler, &mDecodeCBLooper);
    CHECK_AT(317, decoder->setCallback(callback) == OK);
}

void VideoTranscoder::createEncoder() {
    releaseCodec(mEncoderCodec);
    sp<MediaCodec> encoder =
            MediaCodec::CreateByType(mEncoderLooper, MEDIA_MIMETYPE_VIDEO_AVC, true /* encoder */);
    CHECK_AT(321, encoder != NULL);
    encoder->getName(&mEncoderName);
    ALOGD(LOG_RED "%s[%d]: Video encoder component name: %s" LOG_RESET, __FUNCTION__, __LINE__,
          mEncoderName.c_str());
    mEncoderCodec = encoder;
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

void VideoTranscoder::attachEncoderRelay() {
    mEncodeCBHandler = new EncodeCBHandler(this);
    sp<AMessage> callback =
            attachCallbackRelay("V-EncodeCBLooper", mEncodeCBHandler, &mEncodeCBLooper);
    CHECK_AT(368, mEncoderCodec->setCallback(callback) == OK);
}

status_t VideoTranscoder::configureEncoder(const sp<AMessage>& format) {
    status_t err = mEncoderCodec->configure(format, NULL, NULL, MediaCodec::CONFIGURE_FLAG_ENCODE);
    if (err != OK) {
        ALOGE("Failed to configure %s encoder (err=%d)", mEncoderName.c_str(), err);
        releaseCodec(mEncoderCodec);
    }
    return err;
}

status_t VideoTranscoder::configureDecoder(const sp<AMessage>& format) {
    status_t err = mEncoderCodec->createInputSurface(&mInputProducer);
    if (err == OK) {
        mInputSurface = new Surface(mInputProducer);
        err = mDecoderCodec->configure(format, mInputSurface, NULL, 0 /* flags */);
    }
    if (err != OK) {
        ALOGE("Failed to configure %s decoder (err=%d)", mDecoderName.c_str(), err);
        releaseCodec(mDecoderCodec);
    }
    return err;
}

status_t VideoTranscoder::onStart() {
    // The state comes first: the codec's first input callbacks arrive before start() returns, and
    // one that was ignored would never come again.
    mState = STARTED;
    if (reportsFrameRate()) {
        int64_t nowUs = ALooper::GetNowUs();
        mStartTimeUs = nowUs;
        mDecLastReportUs = nowUs;
        mDecLastFrameUs = nowUs;
        mEncLastReportUs = nowUs;
        mEncLastFrameUs = nowUs;
    }
    status_t err = mDecoderCodec->start();
    if (err != OK) {
        ALOGE("Failed to start %s decoder (err=%d)", mDecoderName.c_str(), err);
        mState = PREPARED;
        onReset();
        return err;
    }
    ALOGD("start decoder success");
    return OK;
}

void VideoTranscoder::onStop() {
    mStopRequested = true;
    // Nothing starts the muxer once its pipelines stop; whoever waits for it must come out.
    if (mMuxer != NULL) mMuxer->openGate();
    if (mCodecsStopped) return;
    mCodecsStopped = true;
    // What a failed start has dropped already is not there to be stopped.
    if (mDecodeCBLooper != NULL) CHECK_AT(452, mDecodeCBLooper->stop() == OK);
    if (mDecoderCodec != NULL) CHECK_AT(453, stopCodec(mDecoderCodec) == OK);
    if (mEncodeCBLooper != NULL) CHECK_AT(454, mEncodeCBLooper->stop() == OK);
    if (mEncoderCodec != NULL) CHECK_AT(455, stopCodec(mEncoderCodec) == OK);
}

void VideoTranscoder::onSelfStop() {
    if (mRefused) onStop();
}

void VideoTranscoder::onReset() {
    // No callback may run into a codec that is being released.
    if (mDecodeCBLooper != NULL) mDecodeCBLooper->stop();
    if (mEncodeCBLooper != NULL) mEncodeCBLooper->stop();
    mMuxer.clear();
    if (mDecoderCodec != NULL) {
        sp<MediaCodec> decoder = mDecoderCodec;
        CHECK_EQ_AT(466, decoder->release(), (status_t)OK);
        mDecoderCodec.clear();
    }
    if (mEncoderCodec != NULL) {
        sp<MediaCodec> encoder = mEncoderCodec;
        CHECK_EQ_AT(470, encoder->release(), (status_t)OK);
        mEncoderCodec.clear();
    }
    mCodecLooper.clear();
    mEncoderLooper.clear();
    detachCallbackRelay(&mDecodeCBHandler, &mDecodeCBLooper);
    detachCallbackRelay(&mEncodeCBHandler, &mEncodeCBLooper);
    mExtractor.clear();
    mInputSurface.clear();
    mInputProducer.clear();
    mDecoderName.clear();
    mEncoderName.clear();
    ALOGD("%s[%d]: VideoTranscoder reset success", __FUNCTION__, __LINE__);
}

void VideoTranscoder::handleDecoderInputBuffer(uint32_t index) {
    if (mState != STARTED || mInputEOS) return;
    sp<MediaCodecBuffer> buffer;
    status_t err = mDecoderCodec->getInputBuffer(index, &buffer);
    if (hasCodecFailed(err)) return;
    CHECK_EQ_AT(537, err, (status_t)OK);
    if (buffer == NULL) {
        ALOGE(LOG_RED "%s[%d]: Failed to getInputBuffer" LOG_RESET, __FUNCTION__, __LINE__);
        return;
    }
    queueSample(index, buffer);
}

void VideoTranscoder::queueSample(uint32_t index, const sp<MediaCodecBuffer>& buffer) {
    sp<ABuffer> sample = new ABuffer(buffer->base(), buffer->capacity());
    status_t err = mExtractor->readSampleData(sample);
    if (err == NO_MEMORY) {
        ALOGE(LOG_RED "%s[%d]: Not enough memory" LOG_RESET, __FUNCTION__, __LINE__);
        mDecoderCodec->queueInputBuffer(index, 0, 0, 0, 0);
        return;
    }
    if (err == ERROR_END_OF_STREAM) {
        endInput();
        return;
    }
    int64_t timeUs;
    CHECK_AT(568, mExtractor->getSampleTime(&timeUs) == OK);
    err = mDecoderCodec->queueInputBuffer(index, sample->offset(), sample->size(), timeUs, 0);
    if (hasCodecFailed(err)) return;
    CHECK_EQ_AT(575, err, (status_t)OK);
    // Leaving the last sample answers the end of the stream; the next read finds it.
    err = mExtractor->advance();
    CHECK_AT(576, err == OK || err == ERROR_END_OF_STREAM);
    if (reportsFrameRate()) countFrame(kDecoderSide);
}

// The decoder gets no end of stream of its own: the end goes to the encoder's surface.
void VideoTranscoder::endInput() {
    ALOGD(LOG_RED "%s[%d]: Reach to EOS" LOG_RESET, __FUNCTION__, __LINE__);
    mInputEOS = true;
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
    status_t err = mEncoderCodec->start();
    if (err != OK) {
        // By design the line names the decoder.
        ALOGE("Failed to start %s encoder (err=%d)", mDecoderName.c_str(), err);
        reportDone(err);
        // The reset belongs to the command looper: a stop may be under way there.
        sp<AMessage>(new AMessage(kWhatSelfReset, this))->post();
        return;
    }
    ALOGD("start encoder success");
}

void VideoTranscoder::handleDecoderError(int32_t err, int32_t actionCode, const char* detail) {
    ALOGE(LOG_RED "%s[%d]: MediaCodec error: status=%d, actionCode=%d, detail=%s" LOG_RESET,
          __FUNCTION__, __LINE__, err, actionCode, detail);
    reportDone(err);
}

// The encoder is fed by its surface.
void VideoTranscoder::handleEncoderInputBuffer(uint32_t /* index */) {}

void VideoTranscoder::handleEncoderOutputFormatChange(const sp<AMessage>& format) {
    ALOGD(LOG_RED "%s[%d]: output-format change" LOG_RESET, __FUNCTION__, __LINE__);
    ALOGD("encoder-videoFormat: %s", format->debugString().c_str());
    if (mMuxer == NULL) return;
    mVideoTrackIndex = mMuxer->addTrack(format);
    if (mVideoTrackIndex < 0) {
        ALOGE("%s[%d]: This video track unsupported by muxer", __FUNCTION__, __LINE__);
        mRefused = true;
        mState = STOPPED;
        reportDone(mVideoTrackIndex);
        // This thread cannot stop the looper it runs on and wait for it; the command looper can.
        sp<AMessage>(new AMessage(kWhatSelfStop, this))->post();
        return;
    }
    mWriting = mMuxer->announceAndWaitForStart(
            newReport(kWhatTrackAdded, AMSG_TRACK_ITEM, VIDEO_TRACK));
    ALOGD("%s[%d]: Add video track #%zd done", __FUNCTION__, __LINE__, mVideoTrackIndex);
}

void VideoTranscoder::handleEncoderOutputBuffer(uint32_t index, uint32_t offset, uint32_t size,
                                                int64_t timeUs, int32_t flags) {
    if (mState != STARTED) return;
    if (flags & MediaCodec::BUFFER_FLAG_EOS) {
        signalEOS();
        reportDone(OK);
        return;
    }
    if (!mWriting) {
        mEncoderCodec->releaseOutputBuffer(index);
        return;
    }
    sp<MediaCodecBuffer> buffer;
    status_t err = mEncoderCodec->getOutputBuffer(index, &buffer);
    if (hasCodecFailed(err)) return;
    CHECK_EQ_AT(632, err, (status_t)OK);
    if (buffer == NULL) {
        ALOGE(LOG_RED "%s[%d]: Failed to getOutputBuffer" LOG_RESET, __FUNCTION__, __LINE__);
        return;
    }
    buffer->setRange(offset, size);
    sp<ABuffer> sample = new ABuffer(buffer->data(), buffer->size());
    if (mStreamOutput) waitForStreamTime(timeUs);
    err = mMuxer->writeSampleData(sample, mVideoTrackIndex, timeUs, flags);
    CHECK_EQ_AT(660, err, (status_t)OK);
    mEncoderCodec->releaseOutputBuffer(index);
    mLastTimeUs = timeUs;
    if (++mEncodedFrames % kSyncIntervalFrames == 0) {
        sp<AMessage> msg = new AMessage(kWhatSyncVideoTime, mPlayerHandler);
        msg->setInt64("video-pts", timeUs);
        msg->post();
    }
    if (reportsFrameRate()) countFrame(kEncoderSide);
}

void VideoTranscoder::waitForStreamTime(int64_t timeUs) {
    if (mFirstOutput) {
        mFirstOutput = false;
        mStreamStartUs = ALooper::GetNowUs();
        return;
    }
    while (mState == STARTED && !mStopRequested &&
           ALooper::GetNowUs() - mStreamStartUs < timeUs - kStreamLeadUs) {
        Mutex::Autolock lock(mPaceMutex);
        mPaceCond.waitRelative(mPaceMutex, kPaceStepNs);
    }
}

void VideoTranscoder::handleEncoderError(int32_t err, int32_t actionCode, const char* detail) {
    ALOGE(LOG_RED "%s[%d]: MediaCodec error: status=%d, actionCode=%d, detail=%s" LOG_RESET,
          __FUNCTION__, __LINE__, err, actionCode, detail);
    handleError(err, VIDEO_TRACK);
    reportDone(err);
}

void VideoTranscoder::signalEOS() {
    if (reportsFrameRate()) {
        mEndTimeUs = ALooper::GetNowUs();
        double seconds = (mEndTimeUs - mStartTimeUs) / 1e6;
        postFrameRate(kWhatAverageFPS, "average-fps", mDecodedFrames / seconds, kDecoderSide);
        postFrameRate(kWhatAverageFPS, "average-fps", mEncodedFrames / seconds, kEncoderSide);
    }
    postReport(kWhatDecodeGotEOS, AMSG_STOP_ITEM, EOSVideoReached);
}

void VideoTranscoder::reportDone(status_t err) {
    sp<AMessage> msg = newReport(kWhatTranscodeDone, AMSG_STOP_ITEM, VIDEO_TRACK);
    msg->setInt32("err", err);
    msg->post();
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
