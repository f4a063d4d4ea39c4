// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AacEncoder"

#include "codec/AacEncoder.h"

#include <log/log.h>
#include <media/stagefright/MediaCodec.h>
#include <oxa/host/EncoderRate.h>

#include <algorithm>
#include <iterator>

#include "ffmpeg/AvLog.h"
#include "ffmpeg/TimeBase.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace android {

namespace {

constexpr char kMime[] = "audio/mp4a-latm";
constexpr int32_t kProfileLowComplexity = 2;
constexpr int64_t kMaxStampUs = INT64_MAX / 4;  // room for sums, whatever the stamps are

// Three channels without names are left, right and centre, whose loss would be the loss of the
// speech, rather than left, right and bass.
AVChannelLayout layoutForCount(int channels) {
    constexpr int kSurroundChannels = 3;
    AVChannelLayout layout = AV_CHANNEL_LAYOUT_SURROUND;
    if (channels != kSurroundChannels) av_channel_layout_default(&layout, channels);
    return layout;
}

AVChannelLayout layoutOfPcm(const sp<AMessage>& format, int channels) {
    int32_t mask = 0;
    AVChannelLayout layout = {};
    if (format->findInt32("channel-mask", &mask) && mask > 0 &&
        av_channel_layout_from_mask(&layout, mask) == 0 && layout.nb_channels == channels) {
        return layout;
    }
    return layoutForCount(channels);
}

// AAC's fixed layouts have their surround behind; films have it to the side and mean the same.
AVChannelLayout withSurroundBehind(AVChannelLayout layout) {
    if (layout.u.mask == AV_CH_LAYOUT_5POINT0 || layout.u.mask == AV_CH_LAYOUT_5POINT1) {
        av_channel_layout_default(&layout, layout.nb_channels);
    }
    return layout;
}

// The encoder has more layouts than its streams can tell: of these a decoder finds the channels
// without their names and takes them for others.
bool isTold(const AVChannelLayout& layout) {
    static constexpr uint64_t kUntold[] = {AV_CH_LAYOUT_3POINT1, AV_CH_LAYOUT_4POINT1,
                                           AV_CH_LAYOUT_6POINT0, AV_CH_LAYOUT_HEXAGONAL};
    return std::find(std::begin(kUntold), std::end(kUntold), layout.u.mask) == std::end(kUntold);
}

bool encoderHasRate(int sampleRate) {
    static constexpr int kRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                     22050, 16000, 12000, 11025, 8000,  7350};
    return std::find(std::begin(kRates), std::end(kRates), sampleRate) != std::end(kRates);
}

int32_t positiveOr(const sp<AMessage>& format, const char* key, int32_t otherwise) {
    int32_t value = 0;
    return format->findInt32(key, &value) && value > 0 ? value : otherwise;
}

}  // namespace

AacEncoder::~AacEncoder() {
    stop();
}

AString AacEncoder::name() const {
    return AString("c2.linux.aac.encoder");
}

status_t AacEncoder::configure(const sp<AMessage>& format, const sp<Surface>& /*surface*/) {
    AString mime(kMime);
    format->findString("mime", &mime);
    const int32_t profile = positiveOr(format, "aac-profile", kProfileLowComplexity);
    const int32_t channels = positiveOr(format, "channel-count", 0);
    const int32_t sampleRate = positiveOr(format, "sample-rate", 0);
    const int32_t streamChannels = positiveOr(format, "audio-chan-count", channels);
    const int32_t streamRate = positiveOr(format, "audio-samp-rate", sampleRate);
    mBitRate = positiveOr(format, "bitrate", 0);
    if (!mime.equalsIgnoreCase(kMime) || profile != kProfileLowComplexity || channels == 0 ||
        channels > kMaxInputChannels || sampleRate == 0 || streamChannels > kMaxStreamChannels ||
        !encoderHasRate(streamRate) || mBitRate == 0) {
        ALOGE("cannot make %s, profile %d, %d ch, %d Hz, %d b/s of PCM with %d ch, %d Hz",
              mime.c_str(), profile, streamChannels, streamRate, mBitRate, channels, sampleRate);
        return BAD_VALUE;
    }
    mBitRate = oxa::host::soundBitRate().value_or(mBitRate);
    mPcm = AudioShape(AV_SAMPLE_FMT_S16, sampleRate,
                      withSurroundBehind(layoutOfPcm(format, channels)));
    mStream = AudioShape(AV_SAMPLE_FMT_FLTP, streamRate,
                         streamChannels == channels ? mPcm.layout : layoutForCount(streamChannels));
    mInputCapacity = std::max<size_t>(kMinInputCapacity, positiveOr(format, "max-input-size", 0));
    return OK;
}

status_t AacEncoder::openCodec() {
    if (mPcm.channels() < 1) return INVALID_OPERATION;
    routeAvLog();
    mPacket.reset(av_packet_alloc());
    mFrame.reset(av_frame_alloc());
    if (mPacket == nullptr || mFrame == nullptr) return NO_MEMORY;
    const status_t err = openEncoder();
    if (err != OK || !mConverter.open(mStream) || !mConverter.setInput(mPcm)) {
        ALOGE("cannot open for %d ch, %d Hz (err=%d)", mStream.channels(), mStream.sampleRate, err);
        return UNKNOWN_ERROR;
    }
    mTimeline.start(mPcm.channels(), mPcm.sampleRate, this);
    reportFormat();
    return OK;
}

// Only the encoder knows which layouts it has.
status_t AacEncoder::openEncoder() {
    if (isTold(mStream.layout) && openEncoder(mStream.layout) == OK) return OK;
    mStream.layout = layoutForCount(mStream.channels());
    return openEncoder(mStream.layout);
}

status_t AacEncoder::openEncoder(const AVChannelLayout& layout) {
    const AVCodec* encoder = avcodec_find_encoder(AV_CODEC_ID_AAC);
    mCodec.reset(avcodec_alloc_context3(encoder));
    if (mCodec == nullptr) return NO_MEMORY;
    mCodec->sample_fmt = mStream.format;
    mCodec->sample_rate = mStream.sampleRate;
    av_channel_layout_copy(&mCodec->ch_layout, &layout);
    mCodec->bit_rate = mBitRate;
    mCodec->time_base = {1, mStream.sampleRate};
    mCodec->profile = FF_PROFILE_AAC_LOW;
    mCodec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    // In a pair beside another channel it loses the right one, where both are alike. Above three
    // channels the encoder leaves it off by itself.
    if (layout.nb_channels > 2) av_opt_set_int(mCodec->priv_data, "aac_ms", 0, 0);
    return avcodec_open2(mCodec, encoder, nullptr) >= 0 ? OK : UNKNOWN_ERROR;
}

void AacEncoder::closeCodec() {
    mCodec.reset();
    mPacket.reset();
    mFrame.reset();
    mConverter.close();
    mFirstStampSet = false;
    mInputFrames = 0;
    mStreamFrames = 0;
    mStretchedFrames = 0;
    mStretchEnd = 0;
}

void AacEncoder::reportFormat() {
    sp<AMessage> format = new AMessage;
    format->setString("mime", kMime);
    format->setInt32("channel-count", mStream.channels());
    format->setInt32("sample-rate", mStream.sampleRate);
    format->setInt32("bitrate", mBitRate);
    format->setInt32("max-bitrate", mBitRate);
    format->setInt32("aac-profile", kProfileLowComplexity);
    format->setInt32("encoder-delay", mCodec->initial_padding);
    format->setBuffer("csd-0", ABuffer::CreateAsCopy(mCodec->extradata, mCodec->extradata_size));
    client()->onOutputFormat(format);
}

void AacEncoder::runWorker() {
    if (takeInputs([this](const CodecInput& input) { return encodeInput(input); })) finish();
}

bool AacEncoder::encodeInput(const CodecInput& input) {
    const size_t frameBytes = sizeof(int16_t) * mPcm.channels();
    const int frames = static_cast<int>(input.buffer->size() / frameBytes);
    if (frames == 0) return true;
    if (!mFirstStampSet) {
        mFirstStampSet = true;
        mFirstStampUs = std::clamp(input.timeUs, -kMaxStampUs, kMaxStampUs);
    }
    return mTimeline.add(reinterpret_cast<const int16_t*>(input.buffer->data()), frames,
                         input.timeUs);
}

int64_t AacEncoder::endUs() const {
    return streamTimeUs(mStretchedFrames) +
           av_rescale(mInputFrames, kMicroseconds.den, mPcm.sampleRate);
}

bool AacEncoder::put(const int16_t* pcm, int frames) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(pcm);
    if (!mConverter.push(&bytes, frames)) return fail("mix", AVERROR(ENOMEM));
    mInputFrames += frames;
    return encodeAvailable(mCodec->frame_size);
}

bool AacEncoder::stretch(int64_t us) {
    const int64_t produced = mStreamFrames + mConverter.available();
    const int duration = mStream.sampleRate / kStretchesPerSecond;
    const auto added = static_cast<int>(av_rescale(us, mStream.sampleRate, kMicroseconds.den));
    if (produced < mStretchEnd || !mConverter.stretch(added, duration)) return false;
    mStretchedFrames += added;
    mStretchEnd = produced + duration;
    return true;
}

bool AacEncoder::encodeAvailable(int minFrames) {
    while (mConverter.available() >= minFrames) {
        mFrame->format = mStream.format;
        mFrame->sample_rate = mStream.sampleRate;
        av_channel_layout_copy(&mFrame->ch_layout, &mStream.layout);
        mFrame->nb_samples = std::min(mConverter.available(), mCodec->frame_size);
        int err = av_frame_get_buffer(mFrame, 0);
        if (err < 0) return fail("allocate", err);
        mConverter.pull(mFrame->extended_data, mFrame->nb_samples);
        mFrame->pts = mStreamFrames;
        mStreamFrames += mFrame->nb_samples;
        err = avcodec_send_frame(mCodec, mFrame);
        av_frame_unref(mFrame);
        if (err < 0) return fail("encode", err);
        if (!receivePackets()) return false;
    }
    return true;
}

bool AacEncoder::receivePackets() {
    for (;;) {
        const int err = avcodec_receive_packet(mCodec, mPacket);
        if (err == AVERROR(EAGAIN) || err == AVERROR_EOF) return true;
        if (err < 0) return fail("encode", err);
        CodecOutput output;
        output.data = ABuffer::CreateAsCopy(mPacket->data, mPacket->size);
        output.timeUs = streamTimeUs(mPacket->pts);
        output.flags = MediaCodec::BUFFER_FLAG_SYNCFRAME;
        av_packet_unref(mPacket);
        if (!emit(output)) return false;
    }
}

bool AacEncoder::finish() {
    if (!mTimeline.finish()) return false;
    if (!mConverter.flush()) return fail("mix", AVERROR(ENOMEM));
    if (!encodeAvailable(mCodec->frame_size) || !encodeAvailable(1)) return false;
    const int err = avcodec_send_frame(mCodec, nullptr);
    if (err < 0) return fail("encode", err);
    return receivePackets() && emitEnd(streamTimeUs(mStreamFrames));
}

bool AacEncoder::fail(const char* what, int error) {
    ALOGE("cannot %s (err=%d)", what, error);
    client()->onError(UNKNOWN_ERROR);
    return false;
}

int64_t AacEncoder::streamTimeUs(int64_t position) const {
    return mFirstStampUs + av_rescale(position, kMicroseconds.den, mStream.sampleRate);
}

sp<CodecComponent> createAacEncoder() {
    return new AacEncoder;
}

}  // namespace android
