// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AvVideoDecoder"

#include "codec/AvVideoDecoder.h"

#include <gui/Surface.h>
#include <log/log.h>
#include <media/MediaCodecBuffer.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/foundation/ALooper.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <string>

#include "base/Monotonic.h"
#include "codec/CodecThreads.h"
#include "ffmpeg/AvLog.h"
#include "ffmpeg/AvPicture.h"
#include "ffmpeg/CodecTable.h"
#include "ffmpeg/MediaLimits.h"
#include "ffmpeg/SampleForm.h"
#include "ffmpeg/TimeBase.h"
#include "graphics/LocalBufferProducer.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace android {

namespace {

constexpr unsigned kMaxThreads = 4;
// Tunneled playback.
constexpr int64_t kMaxLateUs = 30000;
constexpr int64_t kMinWaitUs = 500;
constexpr int64_t kClockPollUs = 10000;
constexpr int64_t kUnknownDurationUs = 1000000 / 30;
// Divisible by all small numbers.
constexpr int kMostFineness = 840;
constexpr int64_t kMostPts = INT64_MAX / kMostFineness / 4;
constexpr int32_t kColorFormatYuv420Planar = 19;
constexpr int32_t kColorFormatYuv420SemiPlanar = 21;

// "csd-0", "csd-1", ... one after the other.
std::vector<uint8_t> codecSpecificData(const sp<AMessage>& format) {
    std::vector<uint8_t> data;
    sp<ABuffer> csd;
    for (int i = 0; format->findBuffer(("csd-" + std::to_string(i)).c_str(), &csd); ++i) {
        data.insert(data.end(), csd->data(), csd->data() + csd->size());
    }
    return data;
}

// A track with what the plain keys of a format tell; null when they do not tell enough.
sp<TrackParameters> parametersFromFormat(const AString& mime, const sp<AMessage>& format) {
    const AVCodecID codec = codecForMime(mime.c_str());
    if (codec == AV_CODEC_ID_NONE) return nullptr;
    const AvParametersOwner parameters(avcodec_parameters_alloc());
    parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    parameters->codec_id = codec;
    format->findInt32("width", &parameters->width);
    format->findInt32("height", &parameters->height);
    setCodecData(codecSpecificData(format), parameters);
    return new TrackParameters(*parameters, kMicroseconds, 0);
}

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
    : mMime(mime), mDamage(oxa::host::FaultSource::kDecoder, "damaged picture data skipped") {
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
    sp<RefBase> parameters;
    if (format->findObject(kFormatKeyTrackParameters, &parameters)) {
        mTrack = static_cast<TrackParameters*>(parameters.get());
    } else {
        mTrack = parametersFromFormat(mMime, format);
    }
    if (mTrack == nullptr || avcodec_find_decoder(mTrack->codec().codec_id) == nullptr) {
        return BAD_VALUE;
    }
    mStartUs = -mTrack->toUs(0);

    int32_t maxInputSize = 0;
    format->findInt32("max-input-size", &maxInputSize);
    const int64_t pictureBytes =
            static_cast<int64_t>(mTrack->codec().width) * mTrack->codec().height * 3 / 2;
    mInputCapacity = maxInputSize > 0 ? static_cast<size_t>(maxInputSize)
                                      : std::max<size_t>(kMinInputCapacity, pictureBytes);

    readTunnel(format, surface);
    const status_t err = readConversion(format);
    return err == OK && surface != nullptr ? connect(surface) : err;
}

status_t AvVideoDecoder::readConversion(const sp<AMessage>& format) {
    int32_t rotationDegrees = 0;
    int32_t mirrored = 0;
    int32_t width = 0;
    int32_t height = 0;
    float frameRate = 0;
    mConversion = Conversion();
    format->findInt32("rotation-degrees", &rotationDegrees);
    format->findInt32(kFormatKeyMirrored, &mirrored);
    format->findInt32("video-de-interlace", &mConversion.deinterlace);
    format->findInt32("eFps", &mConversion.frameRate);
    format->findInt32("eWid", &width);
    format->findInt32("eHei", &height);
    format->findAsFloat("frame-rate", &frameRate);
    if (width < 0 || height < 0 || mConversion.frameRate < 0) return BAD_VALUE;
    mSizeAsked = width > 0 && height > 0;
    if (mSizeAsked) {
        mConversion.width = width;
        mConversion.height = height;
    }
    mConversion.rotationDegrees = (rotationDegrees % 360 + 360) % 360;
    mConversion.mirrored = mirrored != 0;
    mConversion.sourceFrameRate = static_cast<int>(std::lround(std::max(frameRate, 0.0F)));
    mFrameDuration = frameRate > 0 ? av_rescale_q(std::llround(1000000 / frameRate), kMicroseconds,
                                                  mTrack->timeBase())
                                   : 0;
    return OK;
}

void AvVideoDecoder::readTunnel(const sp<AMessage>& format, const sp<Surface>& surface) {
    int32_t tunneled = 0;
    int32_t noAudio = 0;
    mHwSync = 0;
    format->findInt32("feature-tunneled-playback", &tunneled);
    format->findInt32("audio-hw-sync", &mHwSync);
    format->findInt32("tunnel-no-audio", &noAudio);
    mTunneled = tunneled != 0 && surface != nullptr;
    if (noAudio != 0) mHwSync = 0;
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
        mConversion.width = width;
        mConversion.height = height;
    }
    return OK;
}

void AvVideoDecoder::onStopped() {
    if (mQueue != nullptr) mQueue->disconnect(mListener);
    mQueue.clear();
    mListener.clear();
}

status_t AvVideoDecoder::openCodec() {
    const AVCodec* decoder = avcodec_find_decoder(mTrack->codec().codec_id);
    mCodec.reset(avcodec_alloc_context3(decoder));
    mPacket.reset(av_packet_alloc());
    mDecoded.reset(av_frame_alloc());
    mConverted.reset(av_frame_alloc());
    if (mCodec == nullptr || mPacket == nullptr || mDecoded == nullptr || mConverted == nullptr) {
        return NO_MEMORY;
    }
    mDamage.start(name().c_str());
    mDamage.listenTo(mCodec);
    mCodec->pkt_timebase = mTrack->timeBase();
    const AVCodecParameters& stream = mTrack->codec();
    mCodec->thread_count = codecThreads(stream.width, stream.height, kMaxThreads);
    mCodec->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
    mCodec->max_pixels = limits::kMaxPicturePoints;
    if (avcodec_parameters_to_context(mCodec, &mTrack->codec()) < 0 ||
        avcodec_open2(mCodec, decoder, nullptr) < 0) {
        ALOGE("%s cannot be opened", name().c_str());
        return BAD_VALUE;
    }
    if (mTunneled) mClock = SessionClock::forHwSync(mHwSync);
    startTimes();
    mFormatReported = false;
    mDrained = false;
    return OK;
}

void AvVideoDecoder::startTimes() {
    const AVRational stream = mTrack->timeBase();
    // Filters may halve it once more.
    mFineness = std::clamp(INT_MAX / 2 / stream.den, 1, kMostFineness);
    const AVRational fine = {stream.num, stream.den * mFineness};
    const int64_t unknownDuration = av_rescale_q(kUnknownDurationUs, kMicroseconds, fine);
    mTimes.start(mFrameDuration > 0 ? mFrameDuration * mFineness : unknownDuration,
                 av_rescale_q_rnd(1, kMicroseconds, fine, AV_ROUND_UP));
    mConverter.start(mConversion, fine);
    const int64_t startPts = av_rescale_q(mStartUs, kMicroseconds, stream);
    mNextPts = av_rescale_q(mStartUs + mTrack->fileBeginUs(), kMicroseconds, stream);
    mEndPts = startPts;
    mConversionStartPts = mConversion.frameRate == 0 ? 0 : startPts * mFineness;
    mConversionStartUs = mConversion.frameRate == 0 ? mStartUs : 0;
    mLastTimeUs = 0;
}

void AvVideoDecoder::closeCodec() {
    mClock.clear();
    mTimes.start(1, 1);
    mConverter.start(Conversion(), kMicroseconds);
    mConverted.reset();
    mDecoded.reset();
    mPacket.reset();
    mCodec.reset();
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
    if (mTunneled) {
        client()->onError(WOULD_BLOCK, ACTION_CODE_RECOVERABLE);
    } else {
        emitEnd(mLastTimeUs);
    }
}

bool AvVideoDecoder::decodeInput(const CodecInput& input) {
    // Codec-specific data came with the format already; after the end nothing counts.
    const bool isSample = input.buffer->size() > 0 && !mDrained &&
                          (input.flags & MediaCodec::BUFFER_FLAG_CODECCONFIG) == 0;
    const bool filled = isSample && fillPacket(input);
    // The packet is a copy, so the next sample can be read while this one is decoded.
    client()->onInputConsumed(input.index);
    return !filled || decodePacket();
}

bool AvVideoDecoder::fillPacket(const CodecInput& input) {
    const int err = av_new_packet(mPacket, static_cast<int>(input.buffer->size()));
    if (err < 0) {
        mDamage.add(err);
        return false;
    }
    memcpy(mPacket->data, input.buffer->data(), input.buffer->size());
    if (!mTrack->popSample(input.timeUs, mPacket)) {
        mPacket->pts = av_rescale_q(input.timeUs + mStartUs, kMicroseconds, mTrack->timeBase());
    }
    return true;
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
    if (!mTrack->shows(mTrack->toUs(pts))) {
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
    if (mConverter.isChange(*mDecoded) && !finishConversion()) {
        av_frame_unref(mDecoded);
        return false;
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

int64_t AvVideoDecoder::ptsOfFrame() {
    int64_t pts = mDecoded->best_effort_timestamp;
    if (pts == AV_NOPTS_VALUE) pts = mNextPts;
    pts = std::clamp(pts, -kMostPts, kMostPts);
    mEndKnown = mDecoded->pkt_duration > 0;
    mNextPts = pts + (mEndKnown ? mDecoded->pkt_duration : mFrameDuration);
    return pts;
}

bool AvVideoDecoder::finishConversion() {
    const int64_t end = mTimes.endBehindLast(mEndPts * mFineness);
    mConverter.finish(end - mConversionStartPts);
    return emitConverted();
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
    if (mTunneled) return renderTunneled();
    if (mQueue == nullptr) {
        output.data = copyOf(*mConverted);
        return output.data == nullptr || emit(output);
    }
    if (!waitUntil([this] { return mQueue->tryReserve(); })) return false;
    output.picture = new AvPicture(mConverted, output.timeUs);
    return emit(output);
}

bool AvVideoDecoder::renderTunneled() {
    const int64_t timeUs = mLastTimeUs;
    int64_t lateUs = 0;
    if (!waitUntil([this] { return mQueue->tryReserve(); }) || !waitForTurn(timeUs, &lateUs)) {
        return false;
    }
    if (lateUs > kMaxLateUs) {
        mQueue->cancelReservation();
    } else {
        mQueue->queue(new AvPicture(mConverted, timeUs), monotonicUs() * 1000);
    }
    return true;
}

bool AvVideoDecoder::waitForTurn(int64_t timeUs, int64_t* lateUs) {
    for (;;) {
        const int64_t nowUs = monotonicUs();
        const int64_t mediaTimeUs = mClock->mediaTimeUs(nowUs, timeUs);
        const bool running = mediaTimeUs != SessionClock::kNotRunning;
        if (running && mediaTimeUs >= timeUs) {
            *lateUs = mediaTimeUs - timeUs;
            return !stopping();
        }
        // While the clock catches up with the sound it runs up to twice as fast.
        const int64_t waitUs = running ? (timeUs - mediaTimeUs) / 2 : kClockPollUs;
        if (!sleepUntil(nowUs + std::clamp(waitUs, kMinWaitUs, kClockPollUs))) return false;
    }
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
    const int64_t endUs = mTrack->toUs(mEndPts);
    return mTrack->hasWindow() ? std::min(endUs, mTrack->windowEndUs()) : endUs;
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
    if (mSizeAsked) format.aspectNumerator = format.aspectDenominator = 1;
    const bool keepsRate = mConversion.frameRate == 0 && mConversion.deinterlace < 2;
    if (keepsRate) format.frameRate = mTrack->frameRate();
    return format;
}

// For a stream of which no picture could be decoded.
PictureFormat AvVideoDecoder::formatOfStream() const {
    const bool upright = mConversion.rotationDegrees % 180 == 0;
    const AVCodecParameters& stream = mTrack->codec();
    PictureFormat format;
    format.width = upright ? stream.width : stream.height;
    format.height = upright ? stream.height : stream.width;
    if (mConversion.width != 0) {
        format.width = mConversion.width;
        format.height = mConversion.height;
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
