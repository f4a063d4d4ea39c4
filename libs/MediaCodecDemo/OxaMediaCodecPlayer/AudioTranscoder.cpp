// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AudioTranscoder"

#include "AudioTranscoder.h"

#include <datasource/FileSource.h>
#include <gui/Surface.h>
#include <media/stagefright/MediaErrors.h>
#include <media/stagefright/foundation/MediaDefs.h>
#include <mediadrm/ICrypto.h>
#include <string.h>
#include <utils/Timers.h>

#include <algorithm>

#include "CodecCallback.h"
#include "TrackReading.h"

namespace android {

namespace {

constexpr char ABUFFER_META_TIMESTAMP[] = "timeUs";
constexpr char ABUFFER_META_FLAGS[] = "flags";

constexpr int32_t kBitRate = 128000;
constexpr int32_t kAacProfileLc = 2;
constexpr int32_t kMaxInputSize = 92160;
constexpr int64_t kMaxLeadUs = 1000000;
constexpr int64_t kStreamLeadUs = 10000;
constexpr nsecs_t kThrottleStepNs = 100000000;
constexpr nsecs_t kPollStepNs = 10000;
// Sound alone decodes far faster than it encodes.
constexpr size_t kMaxPcmBytes = 4 << 20;

}  // namespace

AudioTranscoder::AudioTranscoder()
    : mTargetFormat(NULL),
      mVideoTimeUs(-1),
      mAudioTrackIndex(-1),
      mFirstOutput(true),
      mStreamOutput(false),
      mInputEOS(false),
      mStreamStartUs(0),
      mState(UNINITIALIZED),
      mPcmBytes(0),
      mLastTimeUs(-1),
      mEncoderInputEOS(false),
      mWriting(false),
      mRefused(false),
      mCodecsStopped(false) {
    mCodecLooper = startLooper("A-DecoderLooper");
    mEncoderLooper = startLooper("A-EncoderLooper");
}

AudioTranscoder::~AudioTranscoder() {
    // A codec must not be destroyed unreleased, and a reset in PREPARED releases nothing.
    releaseCodec(mDecoderCodec);
    releaseCodec(mEncoderCodec);
}

status_t AudioTranscoder::setDataSource(const char* path) {
    return postRequest(newPathRequest(kWhatSetDataSource, this, path));
}

status_t AudioTranscoder::setDataSource(int fd, int64_t offset, int64_t length) {
    return postRequest(newFileRequest(kWhatSetDataSourceFd, this, fd, offset, length));
}

status_t AudioTranscoder::setMuxer(const sp<OxaMediaMuxer>& muxer) {
    sp<AMessage> msg = new AMessage(kWhatSetMuxer, this);
    msg->setObject(AMSG_MUXER, muxer);
    return postRequest(msg);
}

status_t AudioTranscoder::setTargetFormat(const _AV_FORMAT_FORMAT& format) {
    ALOGI(LOG_GREEN "TargetFormat: Audio:%dch/%dHz" LOG_RESET, format.channelCount,
          format.sampleRate);
    sp<AMessage> msg = new AMessage(kWhatSetTargetFormat, this);
    msg->setPointer(AMSG_TARTGET_FORMAT, const_cast<_AV_FORMAT_FORMAT*>(&format));
    return postRequest(msg);
}

status_t AudioTranscoder::prepare() {
    return postRequest(new AMessage(kWhatPrepare, this));
}

status_t AudioTranscoder::start() {
    return postRequest(new AMessage(kWhatStart, this));
}

status_t AudioTranscoder::stop() {
    return postRequest(new AMessage(kWhatStop, this));
}

status_t AudioTranscoder::reset() {
    return postRequest(new AMessage(kWhatReset, this));
}

void AudioTranscoder::onMessageReceived(const sp<AMessage>& msg) {
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
            CHECK_AT(108, mState == UNPREPARED);
            err = onPrepare();
            if (err == OK) mState = PREPARED;
            break;
        case kWhatStart:
            CHECK_AT(121, mState == PREPARED);
            err = onStart();
            break;
        case kWhatStop:
            // The client cannot know that a refused track has stopped this pipeline already.
            if (!mRefused) CHECK_AT(134, mState == STARTED);
            mRefused = false;
            mState = STOPPED;
            onStop();
            break;
        case kWhatReset:
            if (mState == STARTED) {
                mState = STOPPED;
                onStop();
            }
            if (mState == STOPPED) onReset();
            mState = UNINITIALIZED;
            break;
        case kWhatSelfStop:
            if (mRefused) onStop();
            return;
        case kWhatSelfReset:
            onReset();
            return;
        default:
            TRESPASS_AT(155);
    }
    replyWithError(msg, err);
}

void AudioTranscoder::onSetDataSource(const sp<AMessage>& msg) {
    CHECK_AT(56, mState == UNINITIALIZED);
    AString inputFile;
    CHECK_AT(59, msg->findString(AMSG_PATH, &inputFile));
    mDataSource = new FileSource(inputFile.c_str());
    mState = WAIT_MUXER;
}

void AudioTranscoder::onSetDataSourceFd(const sp<AMessage>& msg) {
    CHECK_AT(69, mState == UNINITIALIZED);
    int32_t fileId;
    int64_t fileOffset, fileLength;
    CHECK_AT(74, msg->findInt32(AMSG_FILE_ID, &fileId));
    CHECK_AT(75, msg->findInt64(AMSG_FILE_OFFSET, &fileOffset));
    CHECK_AT(76, msg->findInt64(AMSG_FILE_LENGTH, &fileLength));
    mDataSource = new FileSource(reopenDescriptor(fileId), fileOffset, fileLength);
    mState = WAIT_MUXER;
}

void AudioTranscoder::onSetMuxer(const sp<AMessage>& msg) {
    CHECK_AT(85, mState == WAIT_MUXER);
    sp<RefBase> obj;
    CHECK_AT(87, msg->findObject(AMSG_MUXER, &obj));
    mMuxer = static_cast<OxaMediaMuxer*>(obj.get());
    mState = WAIT_TARGET_FORMAT;
}

void AudioTranscoder::onSetTargetFormat(const sp<AMessage>& msg) {
    CHECK_AT(96, mState == WAIT_TARGET_FORMAT);
    void* format;
    CHECK_AT(98, msg->findPointer(AMSG_TARTGET_FORMAT, &format));
    mTargetFormat = static_cast<_AV_FORMAT_FORMAT*>(format);
    mState = UNPREPARED;
}

status_t AudioTranscoder::onPrepare() {
    status_t err = openExtractor(mDataSource, &mExtractor, __FUNCTION__, __LINE__);
    if (err != OK) return err;

    sp<AMessage> trackFormat;
    AString mime;
    if (!findAudioTrack(&trackFormat, &mime)) {
        ALOGD(LOG_RED "%s[%d]: No audio track" LOG_RESET, __FUNCTION__, __LINE__);
        postReport(kWhatDecodeGotEOS, AMSG_STOP_ITEM, NO_AUDIO_TRACK);
        return UNKNOWN_ERROR;
    }
    createDecoder(mime);
    return configureDecoder(trackFormat);
}

bool AudioTranscoder::findAudioTrack(sp<AMessage>* format, AString* mime) {
    for (size_t i = 0; i < mExtractor->countTracks(); ++i) {
        CHECK_AT(263, mExtractor->getTrackFormat(i, format) == OK);
        CHECK_AT(266, (*format)->findString(AMSG_MIME, mime));
        if (!mime->startsWithIgnoreCase("audio/")) continue;
        CHECK_AT(270, mExtractor->selectTrack(i) == OK);
        return true;
    }
    return false;
}

void AudioTranscoder::createDecoder(const AString& mime) {
    releaseCodec(mDecoderCodec);
    sp<MediaCodec> decoder = MediaCodec::CreateByType(mCodecLooper, mime, false /* encoder */);
    CHECK_AT(273, decoder != NULL);
    decoder->getName(&mDecoderName);
    ALOGD(LOG_RED "%s[%d]: Audio decoder component name: %s" LOG_RESET, __FUNCTION__, __LINE__,
          mDecoderName.c_str());
    mDecoderCodec = decoder;
    mDecodeCBHandler = new DecodeCBHandler(this);
    sp<AMessage> callback =
            attachCallbackRelay("A-DecodeCBLooper", mDecodeCBHandler, &mDecodeCBLooper);
    CHECK_AT(286, decoder->setCallback(callback) == OK);
}

status_t AudioTranscoder::configureDecoder(const sp<AMessage>& format) {
    status_t err = mDecoderCodec->configure(format, NULL, NULL, 0 /* flags */);
    if (err != OK) {
        ALOGE("Failed to configure %s decoder (err=%d)", mDecoderName.c_str(), err);
        releaseCodec(mDecoderCodec);
    }
    return err;
}

status_t AudioTranscoder::onStart() {
    // The state comes first: the codec's first input callbacks arrive before start() returns, and
    // one that was ignored would never come again.
    mState = STARTED;
    status_t err = mDecoderCodec->start();
    if (err != OK) {
        ALOGE("Failed to start %s decoder (err=%d)", mDecoderName.c_str(), err);
        mState = PREPARED;
        onReset();
    }
    return err;
}

void AudioTranscoder::onStop() {
    // Nothing starts the muxer once its pipelines stop; whoever waits for it must come out.
    if (mMuxer != NULL) mMuxer->openGate();
    if (mCodecsStopped) return;
    mCodecsStopped = true;
    // The encoder's side exists only from the decoder's first output on.
    if (mDecodeCBLooper != NULL) CHECK_AT(331, mDecodeCBLooper->stop() == OK);
    if (mDecoderCodec != NULL) CHECK_AT(332, stopCodec(mDecoderCodec) == OK);
    if (mEncodeCBLooper != NULL) CHECK_AT(333, mEncodeCBLooper->stop() == OK);
    if (mEncoderCodec != NULL) CHECK_AT(334, stopCodec(mEncoderCodec) == OK);
}

void AudioTranscoder::onReset() {
    // No callback may run into a codec that is being released.
    if (mDecodeCBLooper != NULL) mDecodeCBLooper->stop();
    if (mEncodeCBLooper != NULL) mEncodeCBLooper->stop();
    mMuxer.clear();
    if (mDecoderCodec != NULL) {
        sp<MediaCodec> decoder = mDecoderCodec;
        CHECK_EQ_AT(345, decoder->release(), (status_t)OK);
        mDecoderCodec.clear();
    }
    if (mEncoderCodec != NULL) {
        sp<MediaCodec> encoder = mEncoderCodec;
        CHECK_EQ_AT(349, encoder->release(), (status_t)OK);
        mEncoderCodec.clear();
    }
    mCodecLooper.clear();
    mEncoderLooper.clear();
    detachCallbackRelay(&mDecodeCBHandler, &mDecodeCBLooper);
    detachCallbackRelay(&mEncodeCBHandler, &mEncodeCBLooper);
    mExtractor.clear();
    mDecoderName.clear();
    mEncoderName.clear();
    ALOGD("%s[%d]: AudioTranscoder reset success", __FUNCTION__, __LINE__);
}

void AudioTranscoder::handleDecoderInputBuffer(uint32_t index) {
    if (mState != STARTED || mInputEOS) return;
    sp<MediaCodecBuffer> buffer;
    mDecoderCodec->getInputBuffer(index, &buffer);
    if (buffer == NULL) {
        ALOGE(LOG_RED "%s[%d]: Failed to getInputBuffer" LOG_RESET, __FUNCTION__, __LINE__);
        return;
    }
    queueSample(index, buffer);
}

void AudioTranscoder::queueSample(uint32_t index, const sp<MediaCodecBuffer>& buffer) {
    sp<ABuffer> sample = new ABuffer(buffer->base(), buffer->capacity());
    status_t err = mExtractor->readSampleData(sample);
    if (err == NO_MEMORY) {
        ALOGE(LOG_RED "%s[%d]: Not enough memory" LOG_RESET, __FUNCTION__, __LINE__);
        mDecoderCodec->queueInputBuffer(index, 0, 0, 0, 0);
        return;
    }
    if (err == ERROR_END_OF_STREAM) {
        endInput(index);
        return;
    }
    int64_t timeUs;
    CHECK_AT(434, mExtractor->getSampleTime(&timeUs) == OK);
    err = mDecoderCodec->queueInputBuffer(index, sample->offset(), sample->size(), timeUs, 0);
    if (hasCodecFailed(err)) return;
    CHECK_EQ_AT(441, err, (status_t)OK);
    // Leaving the last sample answers the end of the stream; the next read finds it.
    err = mExtractor->advance();
    CHECK_AT(443, err == OK || err == ERROR_END_OF_STREAM);
    throttle(timeUs);
}

void AudioTranscoder::endInput(uint32_t index) {
    ALOGD(LOG_RED "%s[%d]: Reach to EOS" LOG_RESET, __FUNCTION__, __LINE__);
    mInputEOS = true;
    status_t err = mDecoderCodec->queueInputBuffer(index, 0, 0, 0, MediaCodec::BUFFER_FLAG_EOS);
    if (hasCodecFailed(err)) return;
    CHECK_EQ_AT(420, err, (status_t)OK);
    signalEOS();
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
    createEncoder();
    sp<AMessage> encoderFormat = buildEncoderFormat(format);
    mEncodeCBHandler = new EncodeCBHandler(this);
    sp<AMessage> callback =
            attachCallbackRelay("A-EncodeCBLooper", mEncodeCBHandler, &mEncodeCBLooper);
    CHECK_AT(505, mEncoderCodec->setCallback(callback) == OK);
    status_t err =
            mEncoderCodec->configure(encoderFormat, NULL, NULL, MediaCodec::CONFIGURE_FLAG_ENCODE);
    if (err != OK) {
        ALOGE("Failed to configure %s encoder (err=%d)", mEncoderName.c_str(), err);
        releaseCodec(mEncoderCodec);
        reportDone(err);
        return;
    }
    err = mEncoderCodec->start();
    if (err != OK) {
        ALOGE("Failed to start %s encoder (err=%d)", mEncoderName.c_str(), err);
        reportDone(err);
        // The reset belongs to the command looper: a stop may be under way there.
        sp<AMessage>(new AMessage(kWhatSelfReset, this))->post();
    }
}

void AudioTranscoder::createEncoder() {
    // A second report of the decoder makes another encoder; the first one must not be in use any
    // more and must not be dropped unreleased.
    if (mEncodeCBLooper != NULL) mEncodeCBLooper->stop();
    detachCallbackRelay(&mEncodeCBHandler, &mEncodeCBLooper);
    releaseCodec(mEncoderCodec);
    sp<MediaCodec> encoder =
            MediaCodec::CreateByType(mEncoderLooper, MEDIA_MIMETYPE_AUDIO_AAC, true /* encoder */);
    CHECK_AT(477, encoder != NULL);
    encoder->getName(&mEncoderName);
    ALOGD(LOG_RED "%s[%d]: Audio encoder component name: %s" LOG_RESET, __FUNCTION__, __LINE__,
          mEncoderName.c_str());
    mEncoderCodec = encoder;
}

sp<AMessage> AudioTranscoder::buildEncoderFormat(const sp<AMessage>& decoderFormat) {
    int32_t sampleRate, channelCount;
    CHECK_AT(484, decoderFormat->findInt32(AMSG_AUDIO_SAMPLERATE, &sampleRate));
    CHECK_AT(486, decoderFormat->findInt32(AMSG_AUDIO_CHANNELCOUNT, &channelCount));
    sp<AMessage> format = new AMessage;
    format->setString(AMSG_MIME, MEDIA_MIMETYPE_AUDIO_AAC);
    format->setInt32(AMSG_AUDIO_CHANNELCOUNT, channelCount);
    format->setInt32("audio-chan-count", mTargetFormat->channelCount);
    format->setInt32(AMSG_AUDIO_SAMPLERATE, sampleRate);
    format->setInt32("audio-samp-rate", mTargetFormat->sampleRate);
    format->setInt32("aac-profile", kAacProfileLc);
    format->setInt32("bitrate", kBitRate);
    format->setInt32("max-input-size", kMaxInputSize);
    return format;
}

void AudioTranscoder::handleDecoderError(int32_t err, int32_t actionCode, const char* detail) {
    ALOGE(LOG_RED "%s[%d]: MediaCodec error: status=%d, actionCode=%d, detail=%s" LOG_RESET,
          __FUNCTION__, __LINE__, err, actionCode, detail);
    reportDone(err);
}

void AudioTranscoder::handleEncoderInputBuffer(uint32_t index) {
    // After the end has been queued a poll would hold back the last outputs behind it.
    if (mState != STARTED || mEncoderInputEOS) return;
    if (waitForPcm()) queuePcm(index);
}

bool AudioTranscoder::waitForPcm() {
    while (pcmQueueEmpty()) {
        waitOnce(kPollStepNs);
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
    CHECK_AT(546, sBuffer->meta()->findInt64(ABUFFER_META_TIMESTAMP, &timeUs));
    CHECK_AT(548, sBuffer->meta()->findInt32(ABUFFER_META_FLAGS, &flags));
    status_t err = mEncoderCodec->queueInputBuffer(index, 0, buffer->size(), timeUs, flags);
    if (hasCodecFailed(err)) return;
    CHECK_EQ_AT(555, err, (status_t)OK);
    if (flags & MediaCodec::BUFFER_FLAG_EOS) mEncoderInputEOS = true;
    mPcmBytes -= sBuffer->capacity();
    mPcmQueue.erase(mPcmQueue.begin());
}

void AudioTranscoder::handleEncoderOutputFormatChange(const sp<AMessage>& format) {
    ALOGD(LOG_RED "%s[%d]: output-format change" LOG_RESET, __FUNCTION__, __LINE__);
    ALOGD("encoder-audioFormat: %s", format->debugString().c_str());
    if (mMuxer == NULL) return;
    mAudioTrackIndex = mMuxer->addTrack(format);
    if (mAudioTrackIndex < 0) {
        ALOGE("%s[%d]: This audio track unsupported by muxer", __FUNCTION__, __LINE__);
        mRefused = true;
        mState = STOPPED;
        reportDone(mAudioTrackIndex);
        // This thread cannot stop the looper it runs on and wait for it; the command looper can.
        sp<AMessage>(new AMessage(kWhatSelfStop, this))->post();
        return;
    }
    mWriting = mMuxer->announceAndWaitForStart(
            newReport(kWhatTrackAdded, AMSG_TRACK_ITEM, AUDIO_TRACK));
    ALOGD("%s[%d]: Add audio track #%zd done", __FUNCTION__, __LINE__, mAudioTrackIndex);
}

void AudioTranscoder::handleEncoderOutputBuffer(uint32_t index, uint32_t offset, uint32_t size,
                                                int64_t timeUs, int32_t flags) {
    if (mState != STARTED) return;
    if (!mWriting) {
        mEncoderCodec->releaseOutputBuffer(index);
        return;
    }
    sp<MediaCodecBuffer> buffer;
    mEncoderCodec->getOutputBuffer(index, &buffer);
    if (buffer == NULL) {
        ALOGE(LOG_RED "%s[%d]: Failed to getOutputBuffer" LOG_RESET, __FUNCTION__, __LINE__);
        return;
    }
    sp<ABuffer> sample = new ABuffer(buffer->base(), buffer->capacity());
    sample->setRange(offset, size);
    if (mStreamOutput) waitForStreamTime(timeUs);
    status_t err = mMuxer->writeSampleData(sample, mAudioTrackIndex, timeUs, flags);
    CHECK_EQ_AT(595, err, (status_t)OK);
    mEncoderCodec->releaseOutputBuffer(index);
    if (size > 0) mLastTimeUs = timeUs;
    if (flags & MediaCodec::BUFFER_FLAG_EOS) reportDone(OK);
}

void AudioTranscoder::waitForStreamTime(int64_t timeUs) {
    if (mFirstOutput) {
        mFirstOutput = false;
        mStreamStartUs = ALooper::GetNowUs();
        return;
    }
    while (mState == STARTED && ALooper::GetNowUs() - mStreamStartUs < timeUs - kStreamLeadUs) {
        waitOnce(kPollStepNs);
    }
}

void AudioTranscoder::handleEncoderError(int32_t err, int32_t actionCode, const char* detail) {
    ALOGE(LOG_RED "%s[%d]: MediaCodec error: status=%d, actionCode=%d, detail=%s" LOG_RESET,
          __FUNCTION__, __LINE__, err, actionCode, detail);
    handleError(err, AUDIO_TRACK);
    reportDone(err);
}

void AudioTranscoder::signalEOS() {
    postReport(kWhatDecodeGotEOS, AMSG_STOP_ITEM, EOSAudioReached);
}

void AudioTranscoder::reportDone(status_t err) {
    sp<AMessage> msg = newReport(kWhatTranscodeDone, AMSG_STOP_ITEM, AUDIO_TRACK);
    msg->setInt32("err", err);
    msg->post();
}

}  // namespace android
