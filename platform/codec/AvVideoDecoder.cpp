// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AvVideoDecoder"

#include "codec/AvVideoDecoder.h"

#include <gui/Surface.h>
#include <log/log.h>
#include <media/MediaCodecBuffer.h>
#include <media/stagefright/MediaCodec.h>

#include <algorithm>
#include <climits>
#include <cstring>

#include "codec/CodecThreads.h"
#include "ffmpeg/AvError.h"
#include "ffmpeg/AvLog.h"
#include "ffmpeg/AvPicture.h"
#include "ffmpeg/CodecTable.h"
#include "ffmpeg/FrameFacts.h"
#include "ffmpeg/MediaLimits.h"
#include "ffmpeg/TimeBase.h"
#include "graphics/LocalBufferProducer.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace android {

namespace {

constexpr unsigned kMaxThreads = 4;
constexpr int64_t kUnknownDurationUs = 1000000 / 30;
constexpr int64_t kNearWindowUs = 100000;
// Divisible by all small numbers.
constexpr int kMostFineness = 840;
constexpr int64_t kMostPts = INT64_MAX / kMostFineness / 4;
constexpr int32_t kColorFormatYuv420Planar = 19;
constexpr int32_t kColorFormatYuv420SemiPlanar = 21;

}  // namespace

class AvVideoDecoder::SurfaceListener : public PictureQueue::ProducerListener {
  public:
    explicit SurfaceListener(AvVideoDecoder* decoder) : mDecoder(decoder) {}

    void onPlaceFree() override {
        const sp<AvVideoDecoder> decoder = mDecoder.promote();
        if (decoder != nullptr) decoder->wakeAll();
    }

    void onDrainRequested() override {
        const sp<AvVideoDecoder> decoder = mDecoder.promote();
        if (decoder != nullptr) decoder->requestDrain();
    }

  private:
    const wp<AvVideoDecoder> mDecoder;
};

AvVideoDecoder::AvVideoDecoder(const AString& mime)
    : mMime(mime),
      mTunnel([this](int64_t untilUs) { return sleepUntil(untilUs); }),
      mDamage(oxa::host::FaultSource::kDecoder, "damaged picture data skipped") {
    routeAvLog();
    limitAvAllocations();
}

AvVideoDecoder::~AvVideoDecoder() = default;

AString AvVideoDecoder::name() const {
    const AVCodecID codec = codecForMime(mMime.c_str());
    AString name("c2.linux.");
    name.append(codec == AV_CODEC_ID_NONE ? "video" : avcodec_get_name(codec));
    name.append(".decoder");
    return name;
}

status_t AvVideoDecoder::configure(const sp<AMessage>& format, const sp<Surface>& surface) {
    const status_t err = readVideoRequest(mMime, format, &mRequest);
    if (mRequest.track != nullptr) mStartUs = -mRequest.track->toUs(0);
    // Only what has a surface can be shown.
    mRequest.tunneled = mRequest.tunneled && surface != nullptr;
    return err == OK && surface != nullptr ? connect(surface) : err;
}

status_t AvVideoDecoder::connect(const sp<Surface>& surface) {
    if (!Surface::isValid(surface)) return BAD_VALUE;
    const sp<PictureQueue> queue =
            LocalBufferProducer::queueOf(surface->getIGraphicBufferProducer());
    const sp<SurfaceListener> listener = new SurfaceListener(this);
    const status_t err = queue->connect(listener);
    if (err != OK) return err;
    mQueue = queue;
    mListener = listener;
    int32_t width = 0;
    int32_t height = 0;
    mQueue->requiredSize(&width, &height);
    if (width > 0 && height > 0) {
        mRequest.conversion.width = width;
        mRequest.conversion.height = height;
    }
    return OK;
}

void AvVideoDecoder::onStopped() {
    if (mQueue != nullptr) mQueue->disconnect(mListener);
    mQueue.clear();
    mListener.clear();
}

status_t AvVideoDecoder::openCodec() {
    const AVCodec* decoder = avcodec_find_decoder(mRequest.track->codec().codec_id);
    mCodec.reset(avcodec_alloc_context3(decoder));
    mPacket.reset(av_packet_alloc());
    mDecoded.reset(av_frame_alloc());
    mConverted.reset(av_frame_alloc());
    if (mCodec == nullptr || mPacket == nullptr || mDecoded == nullptr || mConverted == nullptr) {
        return NO_MEMORY;
    }
    mDamage.start(name().c_str());
    mDamage.listenTo(mCodec);
    mCodec->pkt_timebase = mRequest.track->timeBase();
    const AVCodecParameters& stream = mRequest.track->codec();
    mCodec->thread_count = codecThreads(stream.width, stream.height, kMaxThreads);
    mCodec->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
    mCodec->max_pixels = limits::kMaxPicturePoints;
    int err = avcodec_parameters_to_context(mCodec, &stream);
    if (err >= 0) err = avcodec_open2(mCodec, decoder, nullptr);
    if (err < 0) {
        ALOGE("%s does not open: %s", name().c_str(), avErrorText(err).c_str());
        if (err == AVERROR(ENOMEM)) return NO_MEMORY;
        mCodec.reset();
        return OK;
    }
    if (mRequest.tunneled) mTunnel.start(mRequest.hwSync);
    startTimes();
    mFormatReported = false;
    mDrained = false;
    return OK;
}

void AvVideoDecoder::startTimes() {
    const AVRational stream = mRequest.track->timeBase();
    // Filters may halve it once more.
    mFineness = std::clamp(INT_MAX / 2 / stream.den, 1, kMostFineness);
    const AVRational fine = {stream.num, stream.den * mFineness};
    const int64_t unknownDuration = av_rescale_q(kUnknownDurationUs, kMicroseconds, fine);
    mTimes.start(mRequest.frameDuration > 0 ? mRequest.frameDuration * mFineness : unknownDuration,
                 av_rescale_q_rnd(1, kMicroseconds, fine, AV_ROUND_UP));
    mConverter.start(mRequest.conversion, fine);
    const int64_t startPts = av_rescale_q(mStartUs, kMicroseconds, stream);
    mNextPts = av_rescale_q(mStartUs + mRequest.track->fileBeginUs(), kMicroseconds, stream);
    mEndPts = startPts;
    mFirstPts.reset();
    mConversionStartPts = mRequest.conversion.frameRate == 0 ? 0 : startPts * mFineness;
    mConversionStartUs = mRequest.conversion.frameRate == 0 ? mStartUs : 0;
    mLastTimeUs = 0;
}

void AvVideoDecoder::closeCodec() {
    mTunnel.stop();
    mTimes.start(1, 1);
    mConverter.start(Conversion(), kMicroseconds);
    mConverted.reset();
    mDecoded.reset();
    mPacket.reset();
    mCodec.reset();
    mHeaders.clear();
}

void AvVideoDecoder::releaseOutput(const CodecOutput& output, bool render, int64_t timestampNs) {
    WorkerComponent::releaseOutput(output, render, timestampNs);
    if (output.picture == nullptr) return;
    if (render) {
        mQueue->queue(output.picture, timestampNs);
    } else {
        mQueue->cancelReservation();
    }
}

// ---- Worker

void AvVideoDecoder::runWorker() {
    if (mCodec == nullptr) {
        client()->onError(UNKNOWN_ERROR);
        return;
    }
    CodecInput input;
    for (;;) {
        switch (nextInput(&input)) {
            case Next::kStop:
                return;
            case Next::kDrain:
                if (!drain()) return;
                continue;
            case Next::kInput:
                break;
        }
        if (!decodeInput(input)) return;
        if (input.flags & MediaCodec::BUFFER_FLAG_EOS) {
            if (drain()) reportEnd();
            return;
        }
    }
}

void AvVideoDecoder::reportEnd() {
    if (mTunnel.isOn()) {
        client()->onError(WOULD_BLOCK, ACTION_CODE_RECOVERABLE);
    } else {
        emitEnd(mLastTimeUs);
    }
}

bool AvVideoDecoder::decodeInput(const CodecInput& input) {
    // After the end nothing counts.
    const bool isConfig = (input.flags & MediaCodec::BUFFER_FLAG_CODECCONFIG) != 0;
    if (isConfig) addHeaders(*input.buffer);
    const bool filled = input.buffer->size() > 0 && !mDrained && !isConfig && fillPacket(input);
    // The packet is a copy, so the next sample can be read while this one is decoded.
    client()->onInputConsumed(input.index);
    return !filled || decodePacket();
}

// Of codecs whose samples may begin with their headers; others had their data in the format.
void AvVideoDecoder::addHeaders(MediaCodecBuffer& buffer) {
    const AVCodecID codec = mRequest.track->codec().codec_id;
    if (codec != AV_CODEC_ID_H264 && codec != AV_CODEC_ID_HEVC && codec != AV_CODEC_ID_MPEG4 &&
        codec != AV_CODEC_ID_MPEG2VIDEO) {
        return;
    }
    mHeaders.insert(mHeaders.end(), buffer.data(), buffer.data() + buffer.size());
}

bool AvVideoDecoder::fillPacket(const CodecInput& input) {
    const size_t headers = mHeaders.size();
    const int err = av_new_packet(mPacket, static_cast<int>(headers + input.buffer->size()));
    if (err < 0) {
        mDamage.add(err);
        return false;
    }
    std::copy(mHeaders.begin(), mHeaders.end(), mPacket->data);
    mHeaders.clear();
    memcpy(mPacket->data + headers, input.buffer->data(), input.buffer->size());
    if (!mRequest.track->popSample(input.timeUs, mPacket)) {
        mPacket->pts =
                av_rescale_q(input.timeUs + mStartUs, kMicroseconds, mRequest.track->timeBase());
    }
    mCodec->skip_frame = isNeedless(*mPacket) ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
    return true;
}

// Whether nobody will see this picture, so that it counts only when others refer to it. Near the
// window it may be one of two fields, of which the other is shown, and what libavcodec calls
// unreferred is so in these codecs alone.
bool AvVideoDecoder::isNeedless(const AVPacket& packet) const {
    const AVCodecID codec = mRequest.track->codec().codec_id;
    if (codec != AV_CODEC_ID_H264 && codec != AV_CODEC_ID_MPEG2VIDEO) return false;
    return mRequest.track->hasWindow() && packet.pts != AV_NOPTS_VALUE &&
           mRequest.track->toUs(packet.pts) < -kNearWindowUs;
}

bool AvVideoDecoder::decodePacket() {
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

bool AvVideoDecoder::receiveFrames() {
    for (;;) {
        const int err = avcodec_receive_frame(mCodec, mDecoded);
        if (err == AVERROR(EAGAIN) || err == AVERROR_EOF) return true;
        if (err < 0) {
            mDamage.add(err);
            // A decoder that is being drained has more to give behind a damaged frame.
            if (!mDrained) return true;
            continue;
        }
        if (!handleFrame()) return false;
    }
}

bool AvVideoDecoder::handleFrame() {
    const int64_t pts = ptsOfFrame();
    const int64_t timeUs = mRequest.track->toUs(pts);
    if (!mRequest.track->shows(timeUs)) {
        if (timeUs > 0) endAtWindow();
        av_frame_unref(mDecoded);
        return true;
    }
    mEndPts = mNextPts;
    mDecoded->pts = pts * mFineness;
    return mTimes.passes(mDecoded) ? convertFrame() : handleReadyFrames();
}

bool AvVideoDecoder::handleReadyFrames() {
    while (mTimes.pull(mDecoded)) {
        if (!convertFrame()) return false;
    }
    return true;
}

bool AvVideoDecoder::convertFrame() {
    mDecoded->pts -= mConversionStartPts;
    if (!mFirstPts) mFirstPts = mDecoded->pts;
    if (mConverter.isChange(*mDecoded)) {
        // Those in front of it are shown until this one, and not until its end.
        mConverter.finish(mDecoded->pts);
        if (!emitConverted()) {
            av_frame_unref(mDecoded);
            return false;
        }
    }
    const int err = mConverter.push(mDecoded);
    // Every picture would be lost, not this one alone.
    if (err == AVERROR_FILTER_NOT_FOUND) {
        client()->onError(UNKNOWN_ERROR);
        return false;
    }
    if (err < 0) mDamage.add(err);
    return emitConverted();
}

// A picture is shown until the next one, and that is not in the window.
void AvVideoDecoder::endAtWindow() {
    mEndPts = av_rescale_q(mStartUs + mRequest.track->windowEndUs(), kMicroseconds,
                           mRequest.track->timeBase());
    mEndKnown = true;
}

int64_t AvVideoDecoder::ptsOfFrame() {
    int64_t pts = mDecoded->best_effort_timestamp;
    if (pts == AV_NOPTS_VALUE) pts = mNextPts;
    pts = std::clamp(pts, -kMostPts, kMostPts);
    const int64_t duration = durationOf(*mDecoded);
    mEndKnown = duration > 0;
    mNextPts = pts + (mEndKnown ? duration : mRequest.frameDuration);
    return pts;
}

bool AvVideoDecoder::finishConversion() {
    int64_t end = mTimes.endBehindLast(mEndPts * mFineness) - mConversionStartPts;
    // What is shorter than a picture of the new rate is one all the same.
    if (mDrained && mFirstPts && !mFormatReported && mRequest.conversion.frameRate != 0) {
        end = std::max(end, *mFirstPts + tickOfConversion());
    }
    mConverter.finish(end);
    return emitConverted();
}

int64_t AvVideoDecoder::tickOfConversion() const {
    const AVRational stream = mRequest.track->timeBase();
    return av_rescale_q_rnd(1, {1, mRequest.conversion.frameRate},
                            {stream.num, stream.den * mFineness}, AV_ROUND_UP);
}

bool AvVideoDecoder::emitConverted() {
    for (;;) {
        const int err = mConverter.pull(mConverted);
        if (err == AVERROR(EAGAIN) || err == AVERROR_EOF) return true;
        if (err < 0) {
            mDamage.add(err);
            return true;
        }
        const bool running = emitPicture();
        av_frame_unref(mConverted);
        if (!running) return false;
    }
}

bool AvVideoDecoder::emitPicture() {
    reportFormat(formatOf(*mConverted));
    CodecOutput output;
    output.timeUs = timeUsOf(*mConverted);
    mLastTimeUs = output.timeUs;
    if (mQueue == nullptr) {
        output.data = copyOf(*mConverted);
        return output.data == nullptr || emit(output);
    }
    if (!waitUntil([this] { return mQueue->tryReserve(); })) return false;
    output.picture = new AvPicture(mConverted, output.timeUs);
    return mTunnel.isOn() ? mTunnel.render(mQueue, output.picture) : emit(output);
}

int64_t AvVideoDecoder::timeUsOf(const AVFrame& converted) const {
    return clampTimeUs(av_rescale_q(converted.pts, mConverter.timeBase(), kMicroseconds)) -
           mConversionStartUs;
}

bool AvVideoDecoder::drain() {
    if (mDrained) return true;
    mDrained = true;
    avcodec_send_packet(mCodec, nullptr);
    if (!receiveFrames()) return false;
    mTimes.finish();
    if (!handleReadyFrames() || !finishConversion()) return false;
    // Whoever waits for the format (an encoder that is started with it) waits for the end, too.
    if (!mFormatReported) reportFormat(formatOfStream());
    mDamage.addRepaired();
    mDamage.finish();
    if (mQueue != nullptr) {
        mQueue->producerDrained(mEndKnown ? endUs() * 1000 : PictureQueue::kUnknownEnd);
    }
    return true;
}

// Of the last picture.
int64_t AvVideoDecoder::endUs() const {
    const int64_t endUs = mRequest.track->toUs(mEndPts);
    return mRequest.track->hasWindow() ? std::min(endUs, mRequest.track->windowEndUs()) : endUs;
}

// ---- Formats

void AvVideoDecoder::reportFormat(const PictureFormat& format) {
    if (mFormatReported && format.width == mReportedWidth && format.height == mReportedHeight) {
        return;
    }
    mFormatReported = true;
    mReportedWidth = format.width;
    mReportedHeight = format.height;
    if (mQueue != nullptr) mQueue->setFormat(format);

    const bool semiPlanar = mConverted->format == AV_PIX_FMT_NV12;
    const sp<AMessage> message = new AMessage;
    message->setString("mime", "video/raw");
    message->setInt32("width", format.width);
    message->setInt32("height", format.height);
    message->setInt32("stride", format.width);
    message->setInt32("slice-height", format.height);
    message->setInt32("color-format",
                      semiPlanar ? kColorFormatYuv420SemiPlanar : kColorFormatYuv420Planar);
    message->setRect("crop", 0, 0, format.width - 1, format.height - 1);
    client()->onOutputFormat(message);
}

PictureFormat AvVideoDecoder::formatOf(const AVFrame& frame) const {
    PictureFormat format = pictureFormatOf(frame);
    if (mRequest.sizeAsked) format.aspectNumerator = format.aspectDenominator = 1;
    const bool keepsRate =
            mRequest.conversion.frameRate == 0 && mRequest.conversion.deinterlace < 2;
    if (keepsRate) format.frameRate = mRequest.track->frameRate();
    return format;
}

// For a stream of which no picture could be decoded.
PictureFormat AvVideoDecoder::formatOfStream() const {
    const bool upright = mRequest.conversion.rotationDegrees % 180 == 0;
    const AVCodecParameters& stream = mRequest.track->codec();
    PictureFormat format;
    format.width = upright ? stream.width : stream.height;
    format.height = upright ? stream.height : stream.width;
    if (mRequest.conversion.width != 0) {
        format.width = mRequest.conversion.width;
        format.height = mRequest.conversion.height;
    }
    return format;
}

sp<ABuffer> AvVideoDecoder::copyOf(const AVFrame& frame) {
    const auto format = static_cast<AVPixelFormat>(frame.format);
    const int size = av_image_get_buffer_size(format, frame.width, frame.height, 1);
    if (size < 0) return nullptr;
    sp<ABuffer> copy = new ABuffer(static_cast<size_t>(size));
    const int err = av_image_copy_to_buffer(copy->base(), size, frame.data, frame.linesize, format,
                                            frame.width, frame.height, 1);
    if (copy->base() != nullptr && err >= 0) return copy;
    mDamage.add(err);
    return nullptr;
}

sp<CodecComponent> createAvVideoDecoder(const AString& mime) {
    return new AvVideoDecoder(mime);
}

}  // namespace android
