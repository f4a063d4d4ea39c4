// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "TrackEncoder.h"

#include <gui/Surface.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/MediaDefs.h>
#include <mediadrm/ICrypto.h>
#include <string.h>

#include <algorithm>

#include "CodecCallback.h"
#include "FixedSites.h"

// Lines and assertions carry the name of the pipeline that they are about.
#undef LOG_TAG
#define LOG_TAG mKind.tag

namespace android {

namespace {

constexpr int32_t kAacProfileLc = 2;
constexpr int32_t kAacBitRate = 128000;

}  // namespace

sp<AMessage> newAacFormat(int32_t channelCount, int32_t sampleRate, int32_t maxInputSize) {
    sp<AMessage> format = new AMessage;
    format->setString(AMSG_MIME, MEDIA_MIMETYPE_AUDIO_AAC);
    format->setInt32(AMSG_AUDIO_CHANNELCOUNT, channelCount);
    format->setInt32(AMSG_AUDIO_SAMPLERATE, sampleRate);
    format->setInt32("aac-profile", kAacProfileLc);
    format->setInt32("bitrate", kAacBitRate);
    format->setInt32("max-input-size", maxInputSize);
    return format;
}

TrackEncoder::TrackEncoder(const Kind& kind, const Fields& fields) : mKind(kind), mFields(fields) {}

void TrackEncoder::begin() {
    mWriting = false;
    mLastTimeUs = -1;
    mWrittenSamples = 0;
}

void TrackEncoder::create(const char* mime, const sites::CheckSite& site) {
    releaseCodec(mFields.encoder);
    if (mFields.encoderLooper == NULL) mFields.encoderLooper = startLooper(mKind.encoderLooper);
    mFields.encoder = MediaCodec::CreateByType(mFields.encoderLooper, mime, true /* encoder */);
    CHECK_TEXT(mFields.encoder != NULL, site.file, site.line, mKind.texts.created);
}

AString TrackEncoder::logName(const sites::LogSite& site) const {
    AString name;
    mFields.encoder->getName(&name);
    ALOGD(LOG_RED "%s[%d]: %s encoder component name: %s" LOG_RESET, SITE(site), mKind.title,
          name.c_str());
    return name;
}

void TrackEncoder::attachRelay(const sp<BaseEncoder>& pipeline, const sites::CheckSite& site) {
    mFields.relay = new BaseEncoder::EncodeCBHandler(pipeline);
    sp<AMessage> callback =
            attachCallbackRelay(mKind.callbackLooper, mFields.relay, &mFields.callbackLooper);
    CHECK_TEXT(mFields.encoder->setCallback(callback) == OK, site.file, site.line,
               mKind.texts.callbackSet);
}

void TrackEncoder::configure(const sp<AMessage>& format, const sites::CheckSite& site) {
    status_t err =
            mFields.encoder->configure(format, NULL, NULL, MediaCodec::CONFIGURE_FLAG_ENCODE);
    CHECK_TEXT(err == OK, site.file, site.line, mKind.texts.configured);
}

void TrackEncoder::queueSound(uint32_t index, const void* data, size_t size, int64_t timeUs,
                              const sites::CheckSite& site) {
    sp<MediaCodecBuffer> buffer;
    status_t err = mFields.encoder->getInputBuffer(index, &buffer);
    if (!mFields.relay->accepted(err, LOG_TAG, site)) return;
    size = std::min(size, buffer->capacity());
    memcpy(buffer->base(), data, size);
    buffer->setRange(0, size);
    err = mFields.encoder->queueInputBuffer(index, 0, size, timeUs, 0);
    if (mKind.texts.assertsByValue) {
        mFields.relay->acceptedEq(err, LOG_TAG, site);
    } else {
        mFields.relay->accepted(err, LOG_TAG, site);
    }
}

status_t TrackEncoder::addTrack(const sp<AMessage>& format, const sp<AMessage>& announcement,
                                const sites::LogSite& site) {
    if (mFields.muxer == NULL) return OK;
    mFields.trackIndex = mFields.muxer->addTrack(format);
    if (mFields.trackIndex < 0) return static_cast<status_t>(mFields.trackIndex);
    mWriting = mFields.muxer->announceAndWaitForStart(announcement);
    ALOGD("%s[%d]: Add %s track #%zd done", SITE(site), mKind.stream, mFields.trackIndex);
    return OK;
}

void TrackEncoder::write(const sp<MediaCodecBuffer>& buffer, size_t offset, size_t size,
                         int64_t timeUs, int32_t flags, const sites::CheckSite& site) {
    if (!mWriting) return;
    sp<ABuffer> sample = new ABuffer(buffer->base(), buffer->capacity());
    sample->setRange(offset, size);
    CHECK_EQ_TEXT(site.file, site.line, mKind.texts.written,
                  mFields.muxer->writeSampleData(sample, mFields.trackIndex, timeUs, flags),
                  (status_t)OK);
    // An empty one has the end only.
    if (size > 0) mLastTimeUs = timeUs;
    ++mWrittenSamples;
}

void TrackEncoder::logError(int line, int32_t err, int32_t actionCode, const char* detail) const {
    ALOGE(LOG_RED "%s[%d]: MediaCodec error: status=%d, actionCode=%d, detail=%s" LOG_RESET,
          "handleEncoderError", line, err, actionCode, detail);
}

void TrackEncoder::openGate() {
    if (mFields.muxer != NULL) mFields.muxer->openGate();
}

status_t TrackEncoder::stopCallbacks() {
    openGate();
    return mFields.callbackLooper != NULL ? mFields.callbackLooper->stop() : OK;
}

status_t TrackEncoder::stop() {
    stopCallbacks();
    return mFields.encoder != NULL ? stopCodec(mFields.encoder) : OK;
}

void TrackEncoder::release() {
    if (mFields.encoder != NULL) stopCodec(mFields.encoder);
    releaseCodec(mFields.encoder);
    if (mFields.encoderLooper != NULL) mFields.encoderLooper->stop();
    mFields.encoderLooper.clear();
    detachCallbackRelay(&mFields.relay, &mFields.callbackLooper);
}

}  // namespace android
