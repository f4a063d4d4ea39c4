// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AvAudioDecoder"

#include "codec/AvAudioDecoder.h"

#include <log/log.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/MediaErrors.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ffmpeg/AvError.h"
#include "ffmpeg/AvLog.h"
#include "ffmpeg/CodecTable.h"
#include "ffmpeg/MediaLimits.h"
#include "ffmpeg/SampleForm.h"
#include "ffmpeg/TimeBase.h"

namespace android {

namespace {

constexpr int32_t kPcmEncoding16Bit = 2;

// As libavcodec takes it: Vorbis as its three headers, of which a format has the first and the
// last.
std::vector<uint8_t> codecDataOf(AVCodecID codec, const sp<AMessage>& format) {
    const auto bytesOf = [&](const char* key) {
        sp<ABuffer> csd;
        if (!format->findBuffer(key, &csd)) return std::vector<uint8_t>();
        return std::vector<uint8_t>(csd->data(), csd->data() + csd->size());
    };
    const std::vector<uint8_t> setup = bytesOf("csd-1");
    if (codec != AV_CODEC_ID_VORBIS || setup.empty()) return bytesOf("csd-0");
    return vorbisHeaders(bytesOf("csd-0"), setup);
}

// A track with what the plain keys of a format tell.
sp<TrackParameters> parametersFromFormat(const AString& mime, const sp<AMessage>& format) {
    int32_t channels = 0;
    int32_t sampleRate = 0;
    const AVCodecID codec = codecForMime(mime.c_str());
    if (codec == AV_CODEC_ID_NONE || !format->findInt32("channel-count", &channels) ||
        !format->findInt32("sample-rate", &sampleRate) || channels < 1 || sampleRate < 1) {
        return nullptr;
    }
    const AvParametersOwner parameters(avcodec_parameters_alloc());
    parameters->codec_type = AVMEDIA_TYPE_AUDIO;
    parameters->codec_id = codec;
    parameters->sample_rate = sampleRate;
    av_channel_layout_default(&parameters->ch_layout, channels);
    setCodecData(codecDataOf(codec, format), parameters);
    return new TrackParameters(*parameters, kMicroseconds, 0);
}

}  // namespace

AvAudioDecoder::AvAudioDecoder(const AString& mime)
    : mMime(mime), mDamage(oxa::host::FaultSource::kDecoder, "damaged sound data skipped") {}

AvAudioDecoder::~AvAudioDecoder() {
    stop();
}

AString AvAudioDecoder::name() const {
    const AVCodecID codec =
            mTrack != nullptr ? mTrack->codec().codec_id : codecForMime(mMime.c_str());
    AString name("c2.linux.");
    name.append(codec != AV_CODEC_ID_NONE ? avcodec_get_name(codec) : "audio");
    name.append(".decoder");
    return name;
}

status_t AvAudioDecoder::configure(const sp<AMessage>& format, const sp<Surface>& /*surface*/) {
    sp<RefBase> object;
    if (format->findObject(kFormatKeyTrackParameters, &object) && object != nullptr) {
        mTrack = static_cast<TrackParameters*>(object.get());
    } else {
        mTrack = parametersFromFormat(mMime, format);
    }
    if (mTrack == nullptr || mTrack->codec().codec_type != AVMEDIA_TYPE_AUDIO ||
        avcodec_find_decoder(mTrack->codec().codec_id) == nullptr) {
        ALOGE("no decoder for %s", mMime.c_str());
        mTrack = nullptr;
        return BAD_VALUE;
    }
    int32_t hwSync = 0;
    format->findInt32("audio-hw-sync", &hwSync);
    mSessionClock = hwSync != 0 ? SessionClock::forHwSync(hwSync) : nullptr;
    int32_t maxInputSize = 0;
    format->findInt32("max-input-size", &maxInputSize);
    const size_t least =
            mTrack->codec().codec_id == AV_CODEC_ID_AAC ? kMinAacInputCapacity : kMinInputCapacity;
    mInputCapacity = std::max(least, static_cast<size_t>(std::max(0, maxInputSize)));
    return OK;
}

status_t AvAudioDecoder::openCodec() {
    if (mTrack == nullptr) return INVALID_OPERATION;
    routeAvLog();
    limitAvAllocations();
    mDamage.start("audio");
    mPacket.reset(av_packet_alloc());
    mFrame.reset(av_frame_alloc());
    if (mPacket == nullptr || mFrame == nullptr) return NO_MEMORY;
    return openDecoder(mTrack->codec());
}

// OK without a decoder when it does not take the codec data.
status_t AvAudioDecoder::openDecoder(const AVCodecParameters& parameters) {
    const AVCodec* decoder = avcodec_find_decoder(parameters.codec_id);
    mCodec.reset(avcodec_alloc_context3(decoder));
    if (mCodec == nullptr) return NO_MEMORY;
    mDamage.listenTo(mCodec);
    int err = avcodec_parameters_to_context(mCodec, &parameters);
    mCodec->pkt_timebase = mTrack->timeBase();
    mCodec->thread_count = 1;
    if (err >= 0) err = avcodec_open2(mCodec, decoder, nullptr);
    if (err >= 0) return OK;
    ALOGE("%s does not open: %s", name().c_str(), avErrorText(err).c_str());
    if (err == AVERROR(ENOMEM)) return NO_MEMORY;
    mCodec.reset();
    return OK;
}

void AvAudioDecoder::closeCodec() {
    mCodec.reset();
    mPacket.reset();
    mFrame.reset();
    mLateData.clear();
    mConverter.close();
    mFormatReported = false;
    mFirstTimePublished = false;
    mClockSet = false;
    mInputTimeUs = 0;
}

void AvAudioDecoder::runWorker() {
    if (mCodec == nullptr && hasCodecData()) {
        client()->onError(UNKNOWN_ERROR);
        return;
    }
    if (takeInputs([this](const CodecInput& input) { return decodeInput(input); })) finish();
}

bool AvAudioDecoder::decodeInput(const CodecInput& input) {
    if (input.buffer->size() == 0) return true;
    if (input.flags & MediaCodec::BUFFER_FLAG_CODECCONFIG) {
        addLateData(*input.buffer);
        return true;
    }
    useLateData();
    if (mCodec == nullptr) {
        client()->onError(UNKNOWN_ERROR);
        return false;
    }
    mInputTimeUs = input.timeUs;
    if (!fillPacket(input)) return true;

    bool running = true;
    int err = avcodec_send_packet(mCodec, mPacket);
    if (err == AVERROR(EAGAIN)) {
        running = receiveFrames();
        err = avcodec_send_packet(mCodec, mPacket);
    }
    av_packet_unref(mPacket);
    if (err < 0) mDamage.add(err);
    running = running && receiveFrames();
    mDamage.addRepaired();
    return running;
}

void AvAudioDecoder::addLateData(MediaCodecBuffer& buffer) {
    constexpr size_t kMostParts = 3;
    if (mLateData == nullptr) mLateData = new AMessage;
    if (hasCodecData() || mLateData->countEntries() == kMostParts) return;
    const std::string name = "csd-" + std::to_string(mLateData->countEntries());
    mLateData->setBuffer(name.c_str(), ABuffer::CreateAsCopy(buffer.data(), buffer.size()));
}

void AvAudioDecoder::useLateData() {
    if (mLateData == nullptr || hasCodecData()) return;
    const AvParametersOwner parameters(avcodec_parameters_alloc());
    avcodec_parameters_copy(parameters, &mTrack->codec());
    setCodecData(codecDataOf(parameters->codec_id, mLateData), parameters);
    mLateData.clear();
    openDecoder(*parameters);
}

bool AvAudioDecoder::fillPacket(const CodecInput& input) {
    // Behind a sample of Vorbis comes the number of its page's samples.
    constexpr size_t kPageSamplesSize = 4;
    size_t size = input.buffer->size();
    if (mTrack->codec().codec_id == AV_CODEC_ID_VORBIS) size -= std::min(size, kPageSamplesSize);
    const int err = av_new_packet(mPacket, static_cast<int>(size));
    if (err < 0) {
        mDamage.add(err);
        return false;
    }
    memcpy(mPacket->data, input.buffer->data(), size);
    if (!mTrack->popSample(input.timeUs, mPacket)) {
        const int64_t startUs = -mTrack->toUs(0);
        mPacket->pts = av_rescale_q(input.timeUs + startUs, kMicroseconds, mTrack->timeBase());
        mPacket->dts = mPacket->pts;
    }
    return true;
}

bool AvAudioDecoder::receiveFrames() {
    for (;;) {
        const int err = avcodec_receive_frame(mCodec, mFrame);
        if (err == AVERROR(EAGAIN) || err == AVERROR_EOF) return true;
        if (err < 0) {
            mDamage.add(err);
            return true;
        }
        const bool running = handleFrame();
        av_frame_unref(mFrame);
        if (!running) return false;
    }
}

bool AvAudioDecoder::handleFrame() {
    if (mFrame->nb_samples < 1) return true;
    const AudioShape shape(static_cast<AVSampleFormat>(mFrame->format), mFrame->sample_rate,
                           mFrame->ch_layout);
    if ((!mFormatReported && !openOutput(shape)) || !mConverter.setInput(shape)) {
        mDamage.add(AVERROR_PATCHWELCOME);
        return true;
    }
    followClock();
    if (!mConverter.push(mFrame->extended_data, mFrame->nb_samples)) {
        mDamage.add(AVERROR(ENOMEM));
        return true;
    }
    return emitPending(kMinOutputFrames);
}

bool AvAudioDecoder::openOutput(const AudioShape& shape) {
    if (!mConverter.open(AudioShape(AV_SAMPLE_FMT_S16, shape.sampleRate, shape.layout))) {
        return false;
    }
    sp<AMessage> format = new AMessage;
    format->setString("mime", "audio/raw");
    format->setInt32("channel-count", shape.channels());
    format->setInt32("sample-rate", shape.sampleRate);
    format->setInt32("pcm-encoding", kPcmEncoding16Bit);
    if (shape.layout.order == AV_CHANNEL_ORDER_NATIVE && shape.layout.u.mask <= INT32_MAX) {
        format->setInt32("channel-mask", static_cast<int32_t>(shape.layout.u.mask));
    }
    mFormatReported = true;
    client()->onOutputFormat(format);
    return true;
}

// Sound that never decodes ends like any other, with a format before its end: a client that waits
// for the format to set up its sound is not left waiting.
void AvAudioDecoder::reportFallbackFormat() {
    constexpr int kUsualRate = 48000;
    constexpr int kUsualChannels = 2;
    const AVCodecParameters& parameters = mTrack->codec();
    const int sampleRate = parameters.sample_rate > 0 ? parameters.sample_rate : kUsualRate;
    const int channels = parameters.ch_layout.nb_channels > 0 ? parameters.ch_layout.nb_channels
                                                              : kUsualChannels;
    AudioShape shape(AV_SAMPLE_FMT_S16, sampleRate, AVChannelLayout{});
    av_channel_layout_default(&shape.layout, channels);
    openOutput(shape);
}

// Places the frame that is about to be pushed on the output's clock. The clock counts samples and
// follows the stream's times only when they jump.
void AvAudioDecoder::followClock() {
    const int64_t timeUs = frameTimeUs();
    const int64_t ahead = mConverter.available() + mConverter.delayedFrames();
    if (mClockSet && std::llabs(timeUs - pulledTimeUs(ahead)) <= kResyncUs) return;
    // What was decoded before the jump keeps its times.
    emitPending(1);
    mClockSet = true;
    mPulledFrames = 0;
    mBaseTimeUs = timeUs - av_rescale(mConverter.delayedFrames(), kMicroseconds.den,
                                      mConverter.output().sampleRate);
}

int64_t AvAudioDecoder::frameTimeUs() const {
    if (mFrame->best_effort_timestamp != AV_NOPTS_VALUE) {
        return mTrack->toUs(mFrame->best_effort_timestamp);
    }
    if (!mClockSet) return mInputTimeUs;
    return pulledTimeUs(mConverter.available() + mConverter.delayedFrames());
}

int64_t AvAudioDecoder::pulledTimeUs(int64_t framesAhead) const {
    return mBaseTimeUs + av_rescale(mPulledFrames + framesAhead, kMicroseconds.den,
                                    mConverter.output().sampleRate);
}

bool AvAudioDecoder::emitPending(int minFrames) {
    const size_t frameBytes = sizeof(int16_t) * mConverter.output().channels();
    while (mConverter.available() >= minFrames) {
        const int frames = std::min(mConverter.available(), kMaxOutputFrames);
        CodecOutput output;
        output.data = new ABuffer(frames * frameBytes);
        if (output.data->base() == nullptr) return false;
        uint8_t* plane = output.data->data();
        mConverter.pull(&plane, frames);
        output.timeUs = pulledTimeUs(0);
        mPulledFrames += frames;
        if (mTrack->hasWindow() && !cutToWindow(frames, &output)) continue;
        publishFirstTime(output.timeUs);
        if (!emit(output)) return false;
    }
    return true;
}

// Leaves what of the output's frames is in the track's window. False when there is none.
bool AvAudioDecoder::cutToWindow(int frames, CodecOutput* output) const {
    const int rate = mConverter.output().sampleRate;
    const size_t frameBytes = sizeof(int16_t) * mConverter.output().channels();
    const auto framesUntil = [&](int64_t timeUs) {
        return std::clamp<int64_t>(av_rescale(timeUs - output->timeUs, rate, kMicroseconds.den), 0,
                                   frames);
    };
    const int64_t first = framesUntil(0);
    const int64_t end = framesUntil(mTrack->windowEndUs());
    if (first >= end) return false;
    if (first == 0 && end == frames) return true;
    output->data = ABuffer::CreateAsCopy(output->data->data() + first * frameBytes,
                                         (end - first) * frameBytes);
    output->timeUs += av_rescale(first, kMicroseconds.den, rate);
    return output->data != nullptr;
}

void AvAudioDecoder::publishFirstTime(int64_t timeUs) {
    if (mFirstTimePublished || mSessionClock == nullptr) return;
    mSessionClock->setFirstTimeUs(timeUs);
    mFirstTimePublished = true;
}

bool AvAudioDecoder::finish() {
    if (mCodec != nullptr) {
        avcodec_send_packet(mCodec, nullptr);
        if (!receiveFrames()) return false;
        mDamage.addRepaired();
    }
    mDamage.finish();
    if (!mFormatReported) reportFallbackFormat();
    mConverter.flush();
    if (mFormatReported && !emitPending(1)) return false;
    return emitEnd(mClockSet ? pulledTimeUs(0) : mInputTimeUs);
}

sp<CodecComponent> createAvAudioDecoder(const AString& mime) {
    if (!mime.startsWithIgnoreCase("audio/")) return nullptr;
    return new AvAudioDecoder(mime);
}

}  // namespace android
