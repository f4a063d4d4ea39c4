// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AudioRecordEncoder"

#include "AudioRecordEncoder.h"

#include <gui/Surface.h>
#include <media/MediaCodecBuffer.h>
#include <media/stagefright/foundation/MediaDefs.h>
#include <mediadrm/ICrypto.h>
#include <string.h>
#include <system/audio.h>
#include <utils/Timers.h>

#include <algorithm>

#include "FixedSites.h"
#include "Pacing.h"

// For assertions of code that several pipelines share.
#define HERE (sites::CheckSite{sites::AudioRecordEncoder::kFile, __LINE__})

namespace android {

namespace {

constexpr char ABUFFER_META_TIMESTAMP[] = "timeUs";
constexpr int32_t kNotifiedSamples = 1024;
constexpr size_t kMinBufferCount = 6;
constexpr int32_t kMaxInputSize = 2048;
// Of at most 1,024 samples each: a second for the monitor, which must not fall behind, and what is
// spoken while an encoder waits for its muxer.
constexpr size_t kMaxRenderBuffers = 50;
constexpr size_t kMaxEncodeBuffers = 2000;

constexpr auto kTrackKind =
        TrackEncoder::Kind::audio(LOG_TAG, sites::AudioRecordEncoder::kEncoderTexts);

}  // namespace

AudioRecordEncoder::AudioRecordEncoder()
    : mRenderQueue(kMaxRenderBuffers),
      mEncodeQueue(kMaxEncodeBuffers),
      mTrackEncoder(kTrackKind, {mEncoder, mMuxer, mEncoderLooper, mEncodeCBLooper,
                                 mEncodeCBHandler, mAudioTrackIndex}) {}

AudioRecordEncoder::~AudioRecordEncoder() {
    // Their threads call this object.
    mAudioRecord.clear();
    mAudioTrack.clear();
    releaseEncoder();
}

// ---- Public calls ------------------------------------------------------------------------------

status_t AudioRecordEncoder::setAudioSource(int source, const String16& clientName) {
    sp<AMessage> msg = new AMessage(kWhatSetAudioSource, this);
    msg->setInt32(AMSG_AUDIO_SOURCE, source);
    msg->setPointer(AMSG_CLIENT_NAME, const_cast<String16*>(&clientName));
    return postRequest(msg);
}

status_t AudioRecordEncoder::configure(const _AV_FORMAT_FORMAT* format) {
    ALOGD("%s[%d]: channelCount=%d sampleRate=%d", __FUNCTION__, __LINE__, format->channelCount,
          format->sampleRate);
    sp<AMessage> msg = new AMessage(kWhatConfigure, this);
    msg->setInt32(AMSG_AUDIO_SAMPLERATE, format->sampleRate);
    msg->setInt32(AMSG_AUDIO_CHANNELCOUNT, format->channelCount);
    return postRequest(msg);
}

status_t AudioRecordEncoder::prepare() {
    return postRequest(new AMessage(kWhatPrepare, this));
}

status_t AudioRecordEncoder::setMuxer(const sp<OxaMediaMuxer>& muxer) {
    return postRequest(newRequest(kWhatSetMuxer, this, AMSG_MUXER, muxer));
}

status_t AudioRecordEncoder::setPlayback(int enable) {
    return postRequest(newRequest(kWhatSetPlayback, this, AMSG_SET_RENDER_AUDIO, enable));
}

status_t AudioRecordEncoder::setRecord(int enable) {
    return postRequest(newRequest(kWhatSetRecord, this, AMSG_SET_TRANSCODE, enable));
}

status_t AudioRecordEncoder::start() {
    return postRequest(new AMessage(kWhatStart, this));
}

status_t AudioRecordEncoder::stop() {
    return postRequest(new AMessage(kWhatStop, this));
}

status_t AudioRecordEncoder::reset() {
    return postRequest(new AMessage(kWhatReset, this));
}

// ---- Commands ----------------------------------------------------------------------------------

void AudioRecordEncoder::onMessageReceived(const sp<AMessage>& msg) {
    int32_t enable;
    status_t err = OK;
    switch (msg->what()) {
        case kWhatSetAudioSource:
            onSetAudioSource(msg);
            break;
        case kWhatConfigure:
            onConfigure(msg);
            break;
        case kWhatPrepare:
            CHECK(mState == CONFIGURED);
            err = onPrepare();
            if (err == OK) mState = PREPARED;
            break;
        case kWhatSetMuxer:
            onSetMuxer(msg);
            break;
        case kWhatSetPlayback:
            CHECK(msg->findInt32(AMSG_SET_RENDER_AUDIO, &enable));
            onSetPlayback(enable != 0);
            break;
        case kWhatSetRecord:
            CHECK(msg->findInt32(AMSG_SET_TRANSCODE, &enable));
            onSetRecord(enable != 0);
            break;
        case kWhatStart:
            CHECK(mState == PREPARED);
            onStart();
            break;
        case kWhatStop:
            CHECK(mState == STARTED);
            onStop();
            break;
        case kWhatReset:
            // First: an input callback that waits for sound ends with the recording.
            mRecord = false;
            releaseEncoder();
            mState = UNINITIALIZED;
            break;
        default:
            TRESPASS_SITE(sites::AudioRecordEncoder::kUnknownRequest);
    }
    replyWithError(msg, err);
}

void AudioRecordEncoder::onSetAudioSource(const sp<AMessage>& msg) {
    CHECK(mState == UNINITIALIZED);
    void* clientName;
    CHECK(msg->findInt32(AMSG_AUDIO_SOURCE, &mAudioSource));
    CHECK(msg->findPointer(AMSG_CLIENT_NAME, &clientName));
    mClientName = *static_cast<String16*>(clientName);
    CHECK(mAudioSource >= AUDIO_SOURCE_DEFAULT && mAudioSource <= AUDIO_SOURCE_MAX);
    mState = INITIALIZED;
}

void AudioRecordEncoder::onConfigure(const sp<AMessage>& msg) {
    CHECK(mState == INITIALIZED || mState == STARTED);
    CHECK(msg->findInt32(AMSG_AUDIO_SAMPLERATE, &mSampleRate));
    CHECK(msg->findInt32(AMSG_AUDIO_CHANNELCOUNT, &mChannelCount));
    CHECK(mChannelCount == 1 || mChannelCount == 2);
    if (mState != STARTED) mState = CONFIGURED;
}

void AudioRecordEncoder::onSetMuxer(const sp<AMessage>& msg) {
    sp<RefBase> obj;
    CHECK(msg->findObject(AMSG_MUXER, &obj));
    mMuxer = static_cast<OxaMediaMuxer*>(obj.get());
}

status_t AudioRecordEncoder::onPrepare() {
    status_t err = createAudioRecord();
    return err == OK ? createAudioTrack() : err;
}

status_t AudioRecordEncoder::createAudioRecord() {
    audio_channel_mask_t mask = audio_channel_in_mask_from_count(mChannelCount);
    size_t minFrameCount = 0;
    status_t err = AudioRecord::getMinFrameCount(&minFrameCount, mSampleRate,
                                                 AUDIO_FORMAT_PCM_16_BIT, mask);
    if (err != OK) {
        ALOGE("Failed to get min frame count:%d", err);
        return err;
    }
    size_t frmcnt = kNotifiedSamples / mChannelCount;
    size_t bufcnt = kMinBufferCount;
    while (bufcnt * frmcnt < minFrameCount)
        ++bufcnt;
    mAudioRecord = new AudioRecord(static_cast<audio_source_t>(mAudioSource), mSampleRate,
                                   AUDIO_FORMAT_PCM_16_BIT, mask, mClientName, bufcnt * frmcnt,
                                   AudioRecordCallback, this, frmcnt, AUDIO_SESSION_ALLOCATE,
                                   AudioRecord::TRANSFER_DEFAULT, AUDIO_INPUT_FLAG_NONE);
    err = mAudioRecord->initCheck();
    if (err != OK) {
        ALOGE("Failed to create AudioRecord:%d", err);
        return err;
    }
    ALOGD("Create AudioRecord: source:%d 16bit %dch %dHz bufcnt:%zu frmcnt:%zu minfrmcnt:%zu",
          mAudioSource, mChannelCount, mSampleRate, bufcnt, frmcnt, minFrameCount);
    return OK;
}

status_t AudioRecordEncoder::createAudioTrack() {
    mAudioTrack = new AudioTrack(AUDIO_STREAM_MUSIC, mSampleRate, AUDIO_FORMAT_PCM_16_BIT,
                                 audio_channel_out_mask_from_count(mChannelCount), 0,
                                 AUDIO_OUTPUT_FLAG_NONE, AudioTrackCallback, this);
    status_t err = mAudioTrack->initCheck();
    if (err != OK) {
        ALOGE("Failed to create AudioTrack:%d", err);
        return err;
    }
    ALOGD("Create AudioTrack: 16bit %dch %dHz", mChannelCount, mSampleRate);
    return OK;
}

void AudioRecordEncoder::onSetPlayback(bool enable) {
    if (enable == mPlayback) return;
    mPlayback = enable;
    if (mState != STARTED) return;
    if (enable) {
        startCapture();
        if (mAudioTrack->stopped()) startAudioRender();
    } else {
        if (!mRecord) stopCapture();
        if (!mAudioTrack->stopped()) stopAudioRender();
    }
}

void AudioRecordEncoder::onSetRecord(bool enable) {
    if (enable == mRecord) return;
    // On only when there is an encoder: the capture's thread looks at the switch.
    if (enable) setupAudioEncoder();
    mRecord = enable;
    if (enable) {
        if (mState != STARTED) return;
        startCapture();
        mEncoder->start();
    } else {
        if (mState == STARTED && !mPlayback) stopCapture();
        // Before the start, too: the next switch-on makes another encoder.
        releaseEncoder();
        if (mState == STARTED) postReport(kWhatStopTranscode, AMSG_STOP_ITEM, STOP_AUDIO);
    }
}

void AudioRecordEncoder::onStart() {
    // The state comes first: the encoder's first input callbacks arrive before its start returns,
    // and one that was ignored would never come again.
    mState = STARTED;
    if (mRecord) startCapture();
    if (mPlayback) startCapture();
    if (mPlayback) startAudioRender();
    if (mRecord && mEncoder != NULL) mEncoder->start();
}

void AudioRecordEncoder::onStop() {
    mState = STOPPED;
    stopCapture();
    if (!mAudioTrack->stopped()) {
        stopAudioRender();
        mAudioTrack->stop();
    }
    // The muxer is finished next: nothing may be written any more.
    mTrackEncoder.stopCallbacks();
}

void AudioRecordEncoder::startCapture() {
    if (mAudioRecord->stopped()) mAudioRecord->start();
}

void AudioRecordEncoder::stopCapture() {
    if (!mAudioRecord->stopped()) mAudioRecord->stop();
}

void AudioRecordEncoder::startAudioRender() {
    mRenderQueue.clear();
    mAudioTrack->start();
}

void AudioRecordEncoder::stopAudioRender() {
    mRenderQueue.clear();
    mAudioTrack->pause();
    mAudioTrack->flush();
}

// ---- Capture and monitor -----------------------------------------------------------------------

void AudioRecordEncoder::AudioRecordCallback(int event, void* user, void* info) {
    switch (event) {
        case AudioRecord::EVENT_MORE_DATA:
            static_cast<AudioRecordEncoder*>(user)->AudioRecordDataCb(
                    static_cast<AudioRecord::Buffer*>(info));
            break;
        case AudioRecord::EVENT_OVERRUN:
            ALOGD("AudioRecord reported overrun!");
            break;
        default:
            ALOGD("unhandled AudioRecord event:%d", event);
    }
}

void AudioRecordEncoder::AudioRecordDataCb(AudioRecord::Buffer* buffer) {
    int64_t nowUs = systemTime(SYSTEM_TIME_MONOTONIC) / 1000;
    if (buffer->size == 0) return;
    if (mPlayback && mAudioTrack != NULL) {
        mRenderQueue.push(ABuffer::CreateAsCopy(buffer->raw, buffer->size));
    }
    Mutex::Autolock lock(mRecordLock);
    if (!mRecord) return;
    if (mRecordStartTimeUs < 0) mRecordStartTimeUs = nowUs;
    sp<ABuffer> sound = ABuffer::CreateAsCopy(buffer->raw, buffer->size);
    sound->meta()->setInt64(ABUFFER_META_TIMESTAMP, nowUs - mRecordStartTimeUs);
    mEncodeQueue.push(sound);
}

void AudioRecordEncoder::AudioTrackCallback(int event, void* user, void* info) {
    switch (event) {
        case AudioTrack::EVENT_MORE_DATA:
            static_cast<AudioRecordEncoder*>(user)->AudioTrackDataCb(
                    static_cast<AudioTrack::Buffer*>(info));
            break;
        case AudioTrack::EVENT_UNDERRUN:
            ALOGD("AudioTrack reported underrun!");
            break;
        default:
            ALOGD("unhandled AudioTrack event:%d", event);
    }
}

void AudioRecordEncoder::AudioTrackDataCb(AudioTrack::Buffer* buffer) {
    size_t requested = buffer->size;
    buffer->size = 0;
    if (!mPlayback) return;
    sp<ABuffer> sound = mRenderQueue.pop();
    if (sound == NULL) return;
    buffer->size = std::min(requested, sound->size());
    memcpy(buffer->raw, sound->data(), buffer->size);
    if (buffer->size == sound->size()) return;
    sound->setRange(sound->offset() + buffer->size, sound->size() - buffer->size);
    mRenderQueue.unpop(sound);
}

// ---- Encoder -----------------------------------------------------------------------------------

void AudioRecordEncoder::setupAudioEncoder() {
    mTrackEncoder.begin();
    mTrackEncoder.create(MEDIA_MIMETYPE_AUDIO_AAC, HERE);
    mTrackEncoder.logName({__FUNCTION__, __LINE__});
    sp<AMessage> format = newAacFormat(mChannelCount, mSampleRate, kMaxInputSize);
    mTrackEncoder.attachRelay(this, HERE);
    mTrackEncoder.configure(format, HERE);
    ALOGD("%s:%d Setup audio encoder done", __FUNCTION__, __LINE__);
}

void AudioRecordEncoder::releaseEncoder() {
    if (mEncoder != NULL) mTrackEncoder.stopCallbacks();
    mTrackEncoder.release();
    // Like its siblings: a muxer that never started would keep its file open until the next one.
    mMuxer.clear();
    // Recording is off by now, and no sound comes in behind this.
    Mutex::Autolock lock(mRecordLock);
    mEncodeQueue.clear();
    mRecordStartTimeUs = -1;
}

void AudioRecordEncoder::handleEncoderInputBuffer(uint32_t index) {
    sp<ABuffer> srcBuffer;
    // Until there is sound, or no recording any more.
    pollUntil(mWaitLock, mWaitCond,
              [&] { return !isRecording() || (srcBuffer = mEncodeQueue.pop()) != NULL; });
    if (srcBuffer == NULL) return;
    int64_t timeUs;
    CHECK(srcBuffer->meta()->findInt64(ABUFFER_META_TIMESTAMP, &timeUs));
    mTrackEncoder.queueSound(index, srcBuffer->data(), srcBuffer->size(), timeUs, HERE);
}

void AudioRecordEncoder::handleEncoderOutputBuffer(uint32_t index, uint32_t /* offset */,
                                                   uint32_t size, int64_t timeUs, int32_t flags) {
    if (!isRecording()) return;
    sp<MediaCodecBuffer> buffer;
    mEncoder->getOutputBuffer(index, &buffer);
    if (buffer == NULL) return;
    mTrackEncoder.write(buffer, 0, size, timeUs, flags, HERE);
    mEncoder->releaseOutputBuffer(index);
}

void AudioRecordEncoder::handleEncoderOutputFormatChange(const sp<AMessage>& format) {
    ALOGD(LOG_RED "%s[%d]: output-format change" LOG_RESET, __FUNCTION__, __LINE__);
    status_t err =
            mTrackEncoder.addTrack(format, newReport(kWhatTrackAdded, AMSG_TRACK_ITEM, AUDIO_TRACK),
                                   {__FUNCTION__, __LINE__});
    // Without a muxer there is no track either.
    if (err == OK && mAudioTrackIndex >= 0) return;
    // By design the line says "video".
    ALOGE("%s[%d]: This video track unsupported by muxer", __FUNCTION__, __LINE__);
    postReport(kWhatDecodeGotEOS, AMSG_STOP_ITEM, EOSAudioReached);
}

void AudioRecordEncoder::handleEncoderError(int32_t err, int32_t actionCode, const char* detail) {
    mTrackEncoder.logError(__LINE__, err, actionCode, detail);
}

}  // namespace android
