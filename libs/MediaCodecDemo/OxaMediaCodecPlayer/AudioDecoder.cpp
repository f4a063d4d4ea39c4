// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AudioDecoder"

#include "AudioDecoder.h"

#include <gui/Surface.h>
#include <media/AudioSystem.h>
#include <mediadrm/ICrypto.h>
#include <system/audio.h>
#include <utils/Timers.h>

#include <algorithm>

#include "CodecCallback.h"
#include "FixedSites.h"
#include "Pacing.h"

namespace android {

namespace {

constexpr TrackReader::Kind kTrackKind = {
        LOG_TAG, "Audio", "audio", "audio/", sites::AudioDecoder::kReader, false /* by design */,
};

}  // namespace

AudioDecoder::AudioDecoder()
    : mTrackReader(kTrackKind,
                   {mExtractor, mMediaCodec, mCodecLooper, mDecodeCBHandler, mComponentName}) {
    mCodecLooper = startLooper("AudioDecoder-Looper");
    mDecodeCBLooper = startLooper("A-DecodeCBLooper");
}

AudioDecoder::~AudioDecoder() {
    // A codec must not be destroyed unreleased, and a reset in PREPARED releases nothing.
    releaseCodec(mMediaCodec);
}

status_t AudioDecoder::setDataSource(const char* path) {
    return postRequest(newPathRequest(kWhatSetDataSourcePath, this, path));
}

status_t AudioDecoder::setDataSource(int fd, int64_t offset, int64_t length) {
    return postRequest(newFileRequest(kWhatSetDataSourceFdRange, this, fd, offset, length));
}

status_t AudioDecoder::setFreeRun(int enable) {
    ALOGD("%s[%d]: %s FreeRun", __FUNCTION__, __LINE__, enable ? "enable" : "disable");
    return postRequest(newRequest(kWhatSetFreeRunMode, this, AMSG_FREE_RUN, enable));
}

status_t AudioDecoder::prepare() {
    return postRequest(new AMessage(kWhatPrepareDecoder, this));
}

status_t AudioDecoder::start(int64_t startTimeUs) {
    mStartTimeUs = startTimeUs;
    return postRequest(new AMessage(kWhatStartDecoder, this));
}

status_t AudioDecoder::stop() {
    return postRequest(new AMessage(kWhatStopDecoder, this));
}

status_t AudioDecoder::reset() {
    return postRequest(new AMessage(kWhatResetDecoder, this));
}

void AudioDecoder::onMessageReceived(const sp<AMessage>& msg) {
    status_t err = OK;
    switch (msg->what()) {
        case kWhatSetDataSourcePath:
        case kWhatSetDataSourceFdRange:
            CHECK(mState == UNINITIALIZED);
            mSource = mTrackReader.openSource(msg, msg->what() == kWhatSetDataSourcePath);
            mState = UNPREPARED;
            break;
        case kWhatSetFreeRunMode:
            onSetFreeRunMode(msg);
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
            TRESPASS_SITE(sites::AudioDecoder::kUnknownRequest);
    }
    replyWithError(msg, err);
}

void AudioDecoder::onSetFreeRunMode(const sp<AMessage>& msg) {
    int32_t enable = 0;
    msg->findInt32(AMSG_FREE_RUN, &enable);
    mFreeRun = enable == 1;
}

status_t AudioDecoder::onPrepare() {
    status_t err = mTrackReader.open(mSource);
    if (err != OK) return err;

    sp<AMessage> format;
    AString mime;
    if (!mTrackReader.selectTrack(&format, &mime)) {
        postReport(kWhatDecodeGotEOS, AMSG_STOP_ITEM, NO_AUDIO_TRACK);
        return OK;
    }
    mTrackReader.createDecoder(mime);
    // By design whatever the session is, none included.
    auto session = static_cast<audio_session_t>(mAudioSessionId.load());
    format->setInt32("audio-hw-sync", AudioSystem::getAudioHwSyncForSession(session));
    mDecodeCBHandler = new DecodeCBHandler(this);
    mCallback = registerCallbackRelay(mDecodeCBLooper, mDecodeCBHandler);
    mTrackReader.setCallback(mCallback);
    CHECK(mMediaCodec->configure(format, NULL, NULL, 0) == OK);
    return OK;
}

status_t AudioDecoder::onStart() {
    // No audio track: there is nothing to start.
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

status_t AudioDecoder::onStop() {
    mStopRequested = true;
    status_t err = mDecodeCBLooper->stop();
    if (err != OK) return err;
    return stopCodec(mMediaCodec);
}

status_t AudioDecoder::onReset() {
    // After a failed start the callback looper still runs.
    mDecodeCBLooper->stop();
    if (mMediaCodec != NULL) {
        CHECK(mMediaCodec->release() == OK);
        mMediaCodec.clear();
    }
    mExtractor.clear();
    detachCallbackRelay(&mDecodeCBHandler, &mDecodeCBLooper);
    mCallback.clear();
    CHECK(mCodecLooper->stop() == OK);
    mCodecLooper.clear();
    mSource.clear();
    if (mAudioTrack != NULL) {
        mAudioTrack->stop();
        mAudioTrack->flush();
        mAudioTrack.clear();
    }
    ALOGD("%s[%d]: AudioDecoder reset success", __FUNCTION__, __LINE__);
    return OK;
}

void AudioDecoder::handleDecoderInputBuffer(uint32_t index) {
    if (mState != STARTED || mInputEOS) return;
    int64_t timeUs;
    if (mTrackReader.feed(index, &timeUs) != TrackReader::kEnd) return;
    mTrackReader.queueEnd(index);
    mInputEOS = true;
    ALOGD("%s[%d]: Audio decoder reachs to the end of stream", __FUNCTION__, __LINE__);
}

void AudioDecoder::handleDecoderOutputFormatChange(const sp<AMessage>& format) {
    ALOGD(LOG_RED "%s[%d]: output-format change" LOG_RESET, __FUNCTION__, __LINE__);
    int32_t channelCount, sampleRate;
    CHECK(format->findInt32(AMSG_AUDIO_CHANNELCOUNT, &channelCount));
    CHECK(format->findInt32(AMSG_AUDIO_SAMPLERATE, &sampleRate));
    auto session = static_cast<audio_session_t>(hasSession() ? mAudioSessionId.load()
                                                             : AUDIO_SESSION_ALLOCATE);
    mAudioTrack = new AudioTrack(AUDIO_STREAM_MUSIC, sampleRate, AUDIO_FORMAT_PCM_16_BIT,
                                 audio_channel_out_mask_from_count(channelCount), 0,
                                 AUDIO_OUTPUT_FLAG_NONE, NULL, NULL, 0, session);
    CHECK(mAudioTrack->start() == OK);
}

void AudioDecoder::handleDecoderOutputBuffer(uint32_t index, uint32_t /* offset */, uint32_t size,
                                             int64_t timeUs, int32_t flags) {
    if (mState != STARTED) return;
    if (flags == MediaCodec::BUFFER_FLAG_EOS) {
        ALOGD("%s[%d]: Audio decoder reachs to the end of stream", __FUNCTION__, __LINE__);
        postReport(kWhatDecodeGotEOS, AMSG_STOP_ITEM, EOSAudioReached);
    }
    sp<MediaCodecBuffer> buffer;
    status_t err = mMediaCodec->getOutputBuffer(index, &buffer);
    if (!mDecodeCBHandler->accepted(err, LOG_TAG, sites::AudioDecoder::kOutputBuffer)) return;
    if (isDue(timeUs)) writePcm(buffer, size, timeUs);
    mMediaCodec->releaseOutputBuffer(index);
}

// Waits until the buffer's time has come; false when that is too long ago. With a session the
// track itself keeps the time.
bool AudioDecoder::isDue(int64_t timeUs) {
    if (mFreeRun || hasSession()) return true;
    if (timeUs < ALooper::GetNowUs() - mStartTimeUs - kMaxLatenessUs) return false;
    pollUntil(mLock, mCondition, [&] {
        return mFreeRun || mStopRequested || ALooper::GetNowUs() - mStartTimeUs >= timeUs;
    });
    return true;
}

void AudioDecoder::writePcm(const sp<MediaCodecBuffer>& buffer, size_t size, int64_t timeUs) {
    if (mAudioTrack == NULL || mStopRequested) return;
    mLastTimeUs = timeUs;
    // A paced write takes what fits and does not wait.
    mAudioTrack->write(buffer->data(), std::min(size, buffer->size()), hasSession());
}

void AudioDecoder::handleDecoderError(int32_t err, int32_t actionCode, const char* detail) {
    ALOGE(LOG_RED "%s[%d]: MediaCodec error: status=%d, actionCode=%d, detail=%s" LOG_RESET,
          __FUNCTION__, __LINE__, err, actionCode, detail);
}

}  // namespace android
