// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AudioTranscoder"

#include "AudioTranscoder.h"

#include <gui/Surface.h>
#include <media/stagefright/foundation/MediaDefs.h>
#include <mediadrm/ICrypto.h>
#include <string.h>

#include <algorithm>

#include "CodecCallback.h"
#include "FixedSites.h"

namespace android {

namespace {

constexpr char ABUFFER_META_TIMESTAMP[] = "timeUs";
constexpr char ABUFFER_META_FLAGS[] = "flags";

constexpr int32_t kMaxInputSize = 92160;
constexpr int64_t kMaxLeadUs = 1000000;
constexpr nsecs_t kThrottleStepNs = 100000000;
// Sound alone decodes far faster than it encodes.
constexpr size_t kMaxPcmBytes = 4 << 20;

}  // namespace

const FileTranscoder::Kind AudioTranscoder::kKind = {
        {LOG_TAG, "Audio", "audio", "audio/", sites::AudioTranscoder::kShared, true},
        TrackEncoder::Kind::audio(LOG_TAG, sites::kTranscoderTexts),
        "A-DecoderLooper",
        "A-DecodeCBLooper",
        AUDIO_TRACK,
        NO_AUDIO_TRACK,
        sites::AudioTranscoder::kShared,
};

AudioTranscoder::AudioTranscoder() : FileTranscoder(kKind, mAudioTrackIndex) {}

status_t AudioTranscoder::setTargetFormat(const _AV_FORMAT_FORMAT& format) {
    ALOGI(LOG_GREEN "TargetFormat: Audio:%dch/%dHz" LOG_RESET, format.channelCount,
          format.sampleRate);
    return postTargetFormat(format);
}

status_t AudioTranscoder::onPrepare() {
    sp<AMessage> trackFormat;
    AString mime;
    status_t err = openTrack(&trackFormat, &mime);
    if (err != OK) return err;
    createDecoder(mime);
    err = mDecoderCodec->configure(trackFormat, NULL, NULL, 0 /* flags */);
    if (err != OK) dropDecoder(err);
    return err;
}

status_t AudioTranscoder::onStart() {
    return startDecoder();
}

void AudioTranscoder::onStop() {
    mState = STOPPED;
    stopCodecs();
}

void AudioTranscoder::onReset() {
    releaseAll();
    ALOGD("%s[%d]: AudioTranscoder reset success", __FUNCTION__, __LINE__);
}

void AudioTranscoder::handleDecoderInputBuffer(uint32_t index) {
    int64_t timeUs;
    if (feedDecoder(index, &timeUs)) throttle(timeUs);
}

void AudioTranscoder::onInputEnd(uint32_t index) {
    if (mTrackReader.queueEnd(index)) reportEnd();
}

// Keeps the sound within a second of the picture that is written already, and the queue bounded.
void AudioTranscoder::throttle(int64_t sampleTimeUs) {
    int64_t videoTimeUs = mVideoTimeUs;
    if (mState == STARTED && videoTimeUs >= 1 && sampleTimeUs - videoTimeUs > kMaxLeadUs &&
        !mStreamOutput) {
        waitOnce(kThrottleStepNs);
    }
    while (mState == STARTED && mPcmBytes > kMaxPcmBytes)
        waitOnce(kThrottleStepNs);
}

void AudioTranscoder::waitOnce(nsecs_t delayNs) {
    Mutex::Autolock lock(mWaitLock);
    mWaitCond.waitRelative(mWaitLock, delayNs);
}

void AudioTranscoder::handleDecoderOutputBuffer(uint32_t index, uint32_t /* offset */,
                                                uint32_t /* size */, int64_t timeUs,
                                                int32_t flags) {
    if (mState != STARTED) return;
    sp<MediaCodecBuffer> buffer;
    mDecoderCodec->getOutputBuffer(index, &buffer);
    if (buffer == NULL) {
        ALOGE(LOG_RED "%s[%d]: Failed to getOutputBuffer" LOG_RESET, __FUNCTION__, __LINE__);
        return;
    }
    sp<ABuffer> pcm = ABuffer::CreateAsCopy(buffer->base(), buffer->capacity());
    if (pcm == NULL) {
        ALOGE(LOG_RED "%s[%d]: Not enough memory" LOG_RESET, __FUNCTION__, __LINE__);
        mDecoderCodec->releaseOutputBuffer(index);
        return;
    }
    pcm->setRange(buffer->offset(), buffer->size());
    pcm->meta()->setInt64(ABUFFER_META_TIMESTAMP, timeUs);
    pcm->meta()->setInt32(ABUFFER_META_FLAGS, flags);
    {
        Mutex::Autolock lock(mQueueLock);
        mPcmQueue.push_back(pcm);
        mPcmBytes += pcm->capacity();
    }
    mDecoderCodec->releaseOutputBuffer(index);
}

void AudioTranscoder::handleDecoderOutputFormatChange(const sp<AMessage>& format) {
    ALOGD(LOG_RED "%s[%d]: output-format change & setup encoder" LOG_RESET, __FUNCTION__, __LINE__);
    dropEncoder();
    createEncoder(MEDIA_MIMETYPE_AUDIO_AAC);
    sp<AMessage> encoderFormat = buildEncoderFormat(format);
    attachEncoderRelay();
    status_t err = configureEncoder(encoderFormat);
    if (err != OK) {
        reportDone(err);
        return;
    }
    startEncoder(mEncoderName);
}

// A second report of the decoder makes another encoder; the first one must not be in use any more.
void AudioTranscoder::dropEncoder() {
    if (mEncodeCBLooper != NULL) mEncodeCBLooper->stop();
    detachCallbackRelay(&mEncodeCBHandler, &mEncodeCBLooper);
}

sp<AMessage> AudioTranscoder::buildEncoderFormat(const sp<AMessage>& decoderFormat) {
    int32_t sampleRate, channelCount;
    CHECK_SITE(sites::AudioTranscoder::kSampleRate,
               decoderFormat->findInt32(AMSG_AUDIO_SAMPLERATE, &sampleRate));
    CHECK_SITE(sites::AudioTranscoder::kChannelCount,
               decoderFormat->findInt32(AMSG_AUDIO_CHANNELCOUNT, &channelCount));
    sp<AMessage> format = newAacFormat(channelCount, sampleRate, kMaxInputSize);
    format->setInt32("audio-chan-count", mTargetFormat->channelCount);
    format->setInt32("audio-samp-rate", mTargetFormat->sampleRate);
    // Without names four channels could be any of several layouts, and sound would change places.
    int32_t channelMask;
    if (decoderFormat->findInt32("channel-mask", &channelMask)) {
        format->setInt32("channel-mask", channelMask);
    }
    return format;
}

void AudioTranscoder::handleEncoderInputBuffer(uint32_t index) {
    // After the end has been queued a poll would hold back the last outputs behind it.
    if (mState != STARTED || mEncoderInputEOS) return;
    if (waitForPcm()) queuePcm(index);
}

bool AudioTranscoder::waitForPcm() {
    while (pcmQueueEmpty()) {
        waitPaceStep();
        if (mState != STARTED) return false;
    }
    return true;
}

bool AudioTranscoder::pcmQueueEmpty() {
    Mutex::Autolock lock(mQueueLock);
    return mPcmQueue.empty();
}

void AudioTranscoder::queuePcm(uint32_t index) {
    Mutex::Autolock lock(mQueueLock);
    sp<ABuffer> sBuffer = *mPcmQueue.begin();
    sp<MediaCodecBuffer> buffer;
    mEncoderCodec->getInputBuffer(index, &buffer);
    if (buffer == NULL) return;
    size_t size = std::min(sBuffer->size(), buffer->capacity());
    buffer->setRange(0, size);
    memcpy(buffer->data(), sBuffer->data(), size);
    int64_t timeUs;
    int32_t flags;
    CHECK_SITE(sites::AudioTranscoder::kPcmTime,
               sBuffer->meta()->findInt64(ABUFFER_META_TIMESTAMP, &timeUs));
    CHECK_SITE(sites::AudioTranscoder::kPcmFlags,
               sBuffer->meta()->findInt32(ABUFFER_META_FLAGS, &flags));
    status_t err = mEncoderCodec->queueInputBuffer(index, 0, buffer->size(), timeUs, flags);
    if (!mEncodeCBHandler->acceptedEq(err, LOG_TAG, sites::AudioTranscoder::kQueuePcm)) return;
    if (flags & MediaCodec::BUFFER_FLAG_EOS) mEncoderInputEOS = true;
    mPcmBytes -= sBuffer->capacity();
    mPcmQueue.erase(mPcmQueue.begin());
}

void AudioTranscoder::handleEncoderOutputBuffer(uint32_t index, uint32_t offset, uint32_t size,
                                                int64_t timeUs, int32_t flags) {
    if (mState != STARTED) return;
    if (!mTrackEncoder.isWriting()) {
        mEncoderCodec->releaseOutputBuffer(index);
        return;
    }
    sp<MediaCodecBuffer> buffer;
    mEncoderCodec->getOutputBuffer(index, &buffer);
    if (buffer == NULL) {
        ALOGE(LOG_RED "%s[%d]: Failed to getOutputBuffer" LOG_RESET, __FUNCTION__, __LINE__);
        return;
    }
    writeSample(index, buffer, offset, size, timeUs, flags);
    if (flags & MediaCodec::BUFFER_FLAG_EOS) reportDone(OK);
}

}  // namespace android
