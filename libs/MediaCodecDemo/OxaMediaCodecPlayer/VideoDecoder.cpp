// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "VideoDecoder"

#include "VideoDecoder.h"

#include <media/AudioSystem.h>
#include <mediadrm/ICrypto.h>
#include <utils/Timers.h>

#include "CodecCallback.h"
#include "FixedSites.h"
#include "Pacing.h"

namespace android {

namespace {

constexpr TrackReader::Kind kTrackKind = {
        LOG_TAG, "Video", "video", "video/", sites::VideoDecoder::kReader, false /* by design */,
};

}  // namespace

VideoDecoder::VideoDecoder()
    : mTrackReader(kTrackKind,
                   {mExtractor, mMediaCodec, mCodecLooper, mDecodeCBHandler, mComponentName}) {
    mCodecLooper = startLooper("VideoDecoder-Looper");
    mDecodeCBLooper = startLooper("V-DecodeCBLooper");
}

VideoDecoder::~VideoDecoder() {
    // A codec must not be destroyed unreleased, and a reset in PREPARED releases nothing.
    releaseCodec(mMediaCodec);
}

status_t VideoDecoder::setDataSource(const char* path) {
    return postRequest(newPathRequest(kWhatSetDataSourcePath, this, path));
}

status_t VideoDecoder::setDataSource(int fd, int64_t offset, int64_t length) {
    return postRequest(newFileRequest(kWhatSetDataSourceFdRange, this, fd, offset, length));
}

status_t VideoDecoder::setSurface(const sp<Surface>& surface) {
    return postRequest(newRequest(kWhatAttachSurface, this, AMSG_VIDEO_SURFACE, surface));
}

status_t VideoDecoder::setFreeRun(int enable) {
    ALOGD("%s[%d]: %s FreeRun", __FUNCTION__, __LINE__, enable ? "enable" : "disable");
    return postRequest(newRequest(kWhatSetFreeRunMode, this, AMSG_FREE_RUN, enable));
}

status_t VideoDecoder::setCalculateFPS(double seconds) {
    ALOGD("%s[%d]: interval-time=%fsec", __FUNCTION__, __LINE__, seconds);
    return postRequest(newRequest(kWhatSetFPSInterval, this, AMSG_CALCULATE_FPS, seconds));
}

status_t VideoDecoder::prepare() {
    return postRequest(new AMessage(kWhatPrepareDecoder, this));
}

status_t VideoDecoder::start() {
    return postRequest(new AMessage(kWhatStartDecoder, this));
}

status_t VideoDecoder::stop() {
    return postRequest(new AMessage(kWhatStopDecoder, this));
}

status_t VideoDecoder::reset() {
    return postRequest(new AMessage(kWhatResetDecoder, this));
}

void VideoDecoder::onMessageReceived(const sp<AMessage>& msg) {
    status_t err = OK;
    switch (msg->what()) {
        case kWhatSetDataSourcePath:
        case kWhatSetDataSourceFdRange:
            CHECK(mState == UNINITIALIZED);
            mSource = mTrackReader.openSource(msg, msg->what() == kWhatSetDataSourcePath);
            mState = WAIT_SURFACE;
            break;
        case kWhatAttachSurface:
            onAttachSurface(msg);
            break;
        case kWhatSetFreeRunMode:
            onSetFreeRunMode(msg);
            break;
        case kWhatSetFPSInterval:
            onSetFPSInterval(msg);
            break;
        case kWhatPrepareDecoder:
            CHECK(mState == UNPREPARED);
            err = onPrepare();
            if (err == OK) mState = PREPARED;
            break;
        case kWhatStartDecoder:
            CHECK(mState == PREPARED);
            err = onStart();
            if (err != OK) {
                onReset();
                mState = UNINITIALIZED;
            }
            break;
        case kWhatStopDecoder:
            CHECK(mState == STARTED);
            CHECK(onStop() == OK);
            mState = STOPPED;
            break;
        case kWhatResetDecoder:
            if (mState == STARTED) CHECK(onStop() == OK);
            if (mState == STARTED || mState == STOPPED) {
                onReset();
                mState = UNINITIALIZED;
            }
            break;
        default:
            TRESPASS_SITE(sites::VideoDecoder::kUnknownRequest);
    }
    replyWithError(msg, err);
}

void VideoDecoder::onAttachSurface(const sp<AMessage>& msg) {
    CHECK(mState == WAIT_SURFACE);
    sp<RefBase> obj;
    CHECK(msg->findObject(AMSG_VIDEO_SURFACE, &obj));
    mSurface = static_cast<Surface*>(obj.get());
    mState = UNPREPARED;
}

void VideoDecoder::onSetFreeRunMode(const sp<AMessage>& msg) {
    int32_t enable = 0;
    msg->findInt32(AMSG_FREE_RUN, &enable);
    mFreeRun = enable == 1;
}

void VideoDecoder::onSetFPSInterval(const sp<AMessage>& msg) {
    mFrameCount = 0;
    mIntervalFrameCount = 0;
    double seconds;
    CHECK(msg->findDouble(AMSG_CALCULATE_FPS, &seconds));
    mCalculateFPS = seconds;
}

status_t VideoDecoder::onPrepare() {
    status_t err = mTrackReader.open(mSource);
    if (err != OK) return err;

    sp<AMessage> format;
    AString mime;
    if (!mTrackReader.selectTrack(&format, &mime)) {
        postReport(kWhatDecodeGotEOS, AMSG_STOP_ITEM, NO_VIDEO_TRACK);
        mEnded = true;
        return OK;
    }
    mTrackReader.createDecoder(mime);
    if (isTunneled()) {
        auto session = static_cast<audio_session_t>(mAudioSessionId.load());
        format->setInt32("feature-tunneled-playback", 1);
        format->setInt32("audio-hw-sync", AudioSystem::getAudioHwSyncForSession(session));
        if (session == 0) format->setInt32("tunnel-no-audio", 1);
    }
    mDecodeCBHandler = new DecodeCBHandler(this);
    mCallback = registerCallbackRelay(mDecodeCBLooper, mDecodeCBHandler);
    mTrackReader.setCallback(mCallback);
    // The spaces are part of the text that field tools know.
    // clang-format off
    CHECK(mMediaCodec->configure(format, mSurface, NULL , 0 ) == OK);
    // clang-format on
    return OK;
}

status_t VideoDecoder::onStart() {
    // No video track: there is nothing to start.
    if (mMediaCodec == NULL) return NO_INIT;
    // The state comes first: the codec's first input callbacks arrive before start() returns, and
    // one that was ignored would never come again.
    mState = STARTED;
    status_t err = mMediaCodec->start();
    if (err != OK) {
        ALOGE("Failed to start %s decoder (err=%d)", mComponentName.c_str(), err);
        mState = PREPARED;
        releaseCodec(mMediaCodec);
    }
    return err;
}

status_t VideoDecoder::onStop() {
    mStopRequested = true;
    status_t err = mDecodeCBLooper->stop();
    if (err != OK || mError) return mMediaCodec->reset();
    return stopCodec(mMediaCodec);
}

status_t VideoDecoder::onReset() {
    // After a failed start the callback looper still runs.
    mDecodeCBLooper->stop();
    if (mMediaCodec != NULL) {
        CHECK_EQ(mMediaCodec->release(), (status_t)OK);
        mMediaCodec.clear();
    }
    mExtractor.clear();
    mCodecLooper.clear();
    detachCallbackRelay(&mDecodeCBHandler, &mDecodeCBLooper);
    mCallback.clear();
    mSurface.clear();
    mSource.clear();
    ALOGD("%s[%d]: VideoDecoder reset success", __FUNCTION__, __LINE__);
    return OK;
}

void VideoDecoder::handleDecoderInputBuffer(uint32_t index) {
    if (mState != STARTED || mInputEOS) return;
    int64_t timeUs;
    switch (mTrackReader.feed(index, &timeUs)) {
        case TrackReader::kSample:
            // A tunneled codec delivers no outputs: pictures are counted on their way in.
            if (!isTunneled()) break;
            startClock();
            countFrame(timeUs);
            break;
        case TrackReader::kEnd:
            mTrackReader.queueEnd(index);
            mInputEOS = true;
            ALOGD("%s[%d]: Video decoder reachs to the end of stream", __FUNCTION__, __LINE__);
            break;
        case TrackReader::kNothing:
            break;
    }
}

void VideoDecoder::startClock() {
    if (mStartTimeUs != 0) return;
    int64_t nowUs = ALooper::GetNowUs();
    mFpsIntervalStartUs = nowUs;
    mLastFrameTimeUs = nowUs;
    mStartTimeUs = nowUs;
}

void VideoDecoder::handleDecoderOutputBuffer(uint32_t index, uint32_t /* offset */, uint32_t size,
                                             int64_t timeUs, int32_t flags) {
    if (mState != STARTED) return;
    if (flags == MediaCodec::BUFFER_FLAG_EOS) handleCodecEOS();
    startClock();
    // The empty buffer at the end is no picture: it is neither shown nor counted.
    if (flags == MediaCodec::BUFFER_FLAG_EOS && size == 0) {
        mMediaCodec->releaseOutputBuffer(index);
        return;
    }
    if (!mFreeRun) {
        if (timeUs < ALooper::GetNowUs() - mStartTimeUs - kMaxLatenessUs) {
            ++mDroppedFrames;
            mMediaCodec->releaseOutputBuffer(index);
            return;
        }
        waitUntilDue(timeUs);
        if (mStopRequested) return;  // not due: stopping the codec takes it back
    }
    // By design microseconds: a time in the past, which means "now". The wait above is the pacing.
    mMediaCodec->renderOutputBufferAndRelease(index, timeUs);
    countFrame(timeUs);
}

void VideoDecoder::waitUntilDue(int64_t timeUs) {
    pollUntil(mLock, mCondition, [&] {
        return mFreeRun || mStopRequested || ALooper::GetNowUs() - mStartTimeUs >= timeUs;
    });
}

void VideoDecoder::countFrame(int64_t timeUs) {
    mLastTimeUs = timeUs;
    ++mShownFrames;
    calculateFps();
}

void VideoDecoder::calculateFps() {
    if (mCalculateFPS <= 0) return;
    ++mFrameCount;
    ++mIntervalFrameCount;
    int64_t nowUs = ALooper::GetNowUs();
    double elapsedSec = (nowUs - mFpsIntervalStartUs) / 1e6;
    mLastFrameTimeUs = nowUs;
    if (elapsedSec < mCalculateFPS) return;
    mFpsIntervalStartUs = nowUs;
    double rate = mIntervalFrameCount / elapsedSec;
    sp<AMessage> msg = new AMessage(kWhatInstantFPS, mStatusHandler);
    msg->setDouble("instant-fps", rate);
    msg->post();
    ALOGD("%s[%d]: VideoInstantFPS=%f", __FUNCTION__, __LINE__, rate);
    mIntervalFrameCount = 0;
}

void VideoDecoder::handleCodecEOS() {
    ALOGD("%s[%d]: Video decoder reachs to the end of stream", __FUNCTION__, __LINE__);
    mEnded = true;
    if (mCalculateFPS > 0) {
        mEndTimeUs = ALooper::GetNowUs();
        sp<AMessage> msg = new AMessage(kWhatAverageFPS, mStatusHandler);
        msg->setDouble("average-fps", mFrameCount / ((mEndTimeUs - mStartTimeUs) / 1e6));
        msg->post();
    }
    postReport(kWhatDecodeGotEOS, AMSG_STOP_ITEM, EOSVideoReached);
}

void VideoDecoder::handleDecoderOutputFormatChange(const sp<AMessage>& format) {
    ALOGD(LOG_RED "%s[%d]: output-format change :%s " LOG_RESET, __FUNCTION__, __LINE__,
          format->debugString().c_str());
}

void VideoDecoder::handleDecoderError(int32_t err, int32_t actionCode, const char* detail) {
    ALOGE(LOG_RED "%s[%d]: MediaCodec error: status=%d, actionCode=%d, detail=%s" LOG_RESET,
          __FUNCTION__, __LINE__, err, actionCode, detail);
    mError = true;
    mEnded = true;
    // How a tunneled codec says that it has shown the last picture.
    if (err == WOULD_BLOCK && isTunneled()) handleCodecEOS();
}

}  // namespace android
