// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AvcEncoder"

#include "codec/AvcEncoder.h"

#include <log/log.h>
#include <media/MediaCodecBuffer.h>
#include <media/hardware/HardwareAPI.h>
#include <media/stagefright/MediaCodec.h>
#include <oxa/host/EncoderPreset.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "codec/AvcCodec.h"
#include "ffmpeg/AvLog.h"
#include "ffmpeg/AvPicture.h"
#include "ffmpeg/TimeBase.h"
#include "graphics/LocalBufferProducer.h"
#include "graphics/PictureBuffer.h"
#include "media/AvcStream.h"

namespace android {

namespace {

constexpr float kDefaultFrameRate = 30;
constexpr float kDefaultKeyIntervalSec = 2;
constexpr int32_t kColorFormatYuv420SemiPlanar = 21;
// One picture that is encoded and one that waits: more would not make the encoder faster.
constexpr size_t kSurfacePlaces = 2;

struct NumberedLevel {
    int32_t number;
    int idc;
};

constexpr NumberedLevel kLevels[] = {
        {0x1, 10},    {0x2, 9},      {0x4, 11},     {0x8, 12},     {0x10, 13},
        {0x20, 20},   {0x40, 21},    {0x80, 22},    {0x100, 30},   {0x200, 31},
        {0x400, 32},  {0x800, 40},   {0x1000, 41},  {0x2000, 42},  {0x4000, 50},
        {0x8000, 51}, {0x10000, 52}, {0x20000, 60}, {0x40000, 61}, {0x80000, 62},
};

// An encoded unit whose memory stays libavcodec's.
struct PacketBuffer : public ABuffer {
    // Takes the packet's references over.
    explicit PacketBuffer(AVPacket* packet)
        : ABuffer(packet->data, static_cast<size_t>(packet->size)), mPacket(av_packet_alloc()) {
        av_packet_move_ref(mPacket, packet);
    }

  private:
    const AvPacketOwner mPacket;
};

AvcParameterSets parameterSetsOf(const AVCodecContext& codec) {
    return avcParameterSets(codec.extradata, static_cast<size_t>(codec.extradata_size));
}

// FF_LEVEL_UNKNOWN lets the encoder choose.
int levelIdc(int32_t number) {
    for (const NumberedLevel& level : kLevels) {
        if (level.number == number) return level.idc;
    }
    return FF_LEVEL_UNKNOWN;
}

int levelIdcOf(const AVCodecContext& codec) {
    constexpr size_t kLevelOffset = 7;  // start code, type, profile, constraints
    const std::vector<uint8_t> sequence = parameterSetsOf(codec).sequences;
    return sequence.size() <= kLevelOffset ? FF_LEVEL_UNKNOWN : sequence[kLevelOffset];
}

bool hasSameParameterSets(const AVCodecContext& a, const AVCodecContext& b) {
    return a.extradata_size == b.extradata_size &&
           memcmp(a.extradata, b.extradata, static_cast<size_t>(a.extradata_size)) == 0;
}

}  // namespace

class AvcEncoder::SurfaceListener : public PictureQueue::ConsumerListener {
  public:
    explicit SurfaceListener(AvcEncoder* encoder) : mEncoder(encoder) {}

    void onPictureQueued() override {
        const sp<AvcEncoder> encoder = mEncoder.promote();
        if (encoder != nullptr) encoder->wakeAll();
    }

  private:
    const wp<AvcEncoder> mEncoder;
};

AvcEncoder::AvcEncoder()
    : mLate(oxa::host::FaultSource::kEncoder, "pictures that were not later than the one before"),
      mUnusable(oxa::host::FaultSource::kEncoder, "pictures that could not be encoded") {
    routeAvLog();
}

AvcEncoder::~AvcEncoder() = default;

status_t AvcEncoder::configure(const sp<AMessage>& format, const sp<Surface>& /*surface*/) {
    if (!format->findInt32("width", &mWidth) || !format->findInt32("height", &mHeight)) {
        return BAD_VALUE;
    }
    mWidth &= ~1;
    mHeight &= ~1;
    mBitrate = 0;
    mFrameRate = 0;
    mKeyIntervalSec = kDefaultKeyIntervalSec;
    mProfile = 0;
    mLevel = 0;
    {
        AnnotatedLock lock(mParametersLock);
        mNewBitrate = 0;
        mSyncRequested = false;
    }
    format->findInt32("bitrate", &mBitrate);
    format->findAsFloat("frame-rate", &mFrameRate);
    format->findAsFloat("i-frame-interval", &mKeyIntervalSec);
    format->findInt32("profile", &mProfile);
    format->findInt32("level", &mLevel);
    if (mFrameRate <= 0) mFrameRate = kDefaultFrameRate;
    if (mWidth <= 0 || mHeight <= 0 || mBitrate < 0) return BAD_VALUE;
    return readLayout(format);
}

status_t AvcEncoder::readLayout(const sp<AMessage>& format) {
    int32_t colorFormat = 0;
    int32_t capacity = 0;
    mStride = mWidth;
    mSliceHeight = mHeight;
    format->findInt32("color-format", &colorFormat);
    format->findInt32("stride", &mStride);
    format->findInt32("slice-height", &mSliceHeight);
    format->findInt32("max-input-size", &capacity);
    int32_t recordType = kMetadataBufferTypeInvalid;
    format->findInt32("android._input-metadata-buffer-type", &recordType);
    mInputIsRecords = recordType == kMetadataBufferTypeANWBuffer;
    mDeinterlace = 0;
    if (mInputIsRecords) {
        format->findInt32("video-de-interlace", &mDeinterlace);
    } else if (mStride < mWidth || mSliceHeight < mHeight) {
        return BAD_VALUE;
    }
    mPixelFormat =
            colorFormat == kColorFormatYuv420SemiPlanar ? AV_PIX_FMT_NV12 : AV_PIX_FMT_YUV420P;
    const auto pictureBytes = static_cast<size_t>(mStride) * mSliceHeight * 3 / 2;
    const size_t needed = mInputIsRecords ? sizeof(VideoNativeMetadata) : pictureBytes;
    mInputCapacity = capacity > 0 ? static_cast<size_t>(capacity) : needed;
    return OK;
}

status_t AvcEncoder::createInputSurface(sp<IGraphicBufferProducer>* producer) {
    if (mQueue != nullptr) return INVALID_OPERATION;
    mQueue = new PictureQueue(kSurfacePlaces);
    mQueue->setRequiredSize(mWidth, mHeight);
    mQueue->setConsumer(new SurfaceListener(this));
    *producer = new LocalBufferProducer(mQueue);
    return OK;
}

status_t AvcEncoder::signalEndOfInputStream() {
    return mQueue == nullptr ? INVALID_OPERATION : mQueue->signalEnd();
}

status_t AvcEncoder::setParameters(const sp<AMessage>& params) {
    AnnotatedLock lock(mParametersLock);
    int32_t bitrate = 0;
    // Nothing here can be refused: whoever asks does not wait for the encoder.
    if (params->findInt32("video-bitrate", &bitrate)) mNewBitrate = std::max(bitrate, 0);
    if (params->contains("request-sync")) mSyncRequested = true;
    return OK;
}

void AvcEncoder::flush() {
    if (mQueue == nullptr) return stop();
    stopWorker();
    QueuedPicture dropped;
    while (mQueue->tryAcquire(&dropped)) {
        dropped.picture.clear();
        mQueue->release();
    }
}

void AvcEncoder::onStopped() {
    if (mQueue != nullptr) mQueue->abandon();
    mQueue.clear();
}

// ---- Opening

status_t AvcEncoder::openCodec() {
    mFrame.reset(av_frame_alloc());
    mPacket.reset(av_packet_alloc());
    // A format's is rounded, and of what the first pictures may take that is a large part.
    const double exactRate = mQueue != nullptr ? mQueue->format().frameRate : 0;
    if (exactRate > 0) mFrameRate = static_cast<float>(exactRate);
    mCodec = newCodec(mBitrate, levelIdc(mLevel));
    if (mCodec == nullptr || mFrame == nullptr || mPacket == nullptr) return NO_INIT;
    Conversion conversion;
    conversion.width = mWidth;
    conversion.height = mHeight;
    conversion.pixelFormat = mPixelFormat;
    conversion.deinterlace = mDeinterlace;
    mConverter.start(conversion, kMicroseconds);
    mLate.start(name().c_str());
    mUnusable.start(name().c_str());
    mHasLastTime = false;
    mLastTimeUs = 0;
    reportFormat();
    return OK;
}

AvCodecOwner AvcEncoder::newCodec(int32_t bitrate, int level) const {
    AvcCodecOptions options;
    options.width = mWidth;
    options.height = mHeight;
    options.pixelFormat = mPixelFormat;
    options.bitrate = bitrate;
    options.frameRate = mFrameRate;
    options.keyIntervalSec = mKeyIntervalSec;
    options.profile = mProfile;
    options.level = level;
    options.isLive = mInputIsRecords;
    options.preset = oxa::host::encoderPreset();
    if (mQueue != nullptr) options.colours = mQueue->format();
    return openAvcCodec(options);
}

void AvcEncoder::closeCodec() {
    mConverter.start(Conversion(), kMicroseconds);
    mPacket.reset();
    mFrame.reset();
    mCodec.reset();
}

void AvcEncoder::reportFormat() {
    const sp<AMessage> format = new AMessage;
    mEnd = new TrackEnd;
    format->setInt64(kFormatKeyTrackEnd, mEnd->number());
    format->setString("mime", "video/avc");
    format->setInt32("width", mWidth);
    format->setInt32("height", mHeight);
    format->setInt32("bitrate", mBitrate);
    format->setInt32("max-bitrate", mBitrate);
    format->setInt32("frame-rate", static_cast<int32_t>(std::lround(mFrameRate)));
    const AvcParameterSets sets = parameterSetsOf(*mCodec);
    format->setBuffer("csd-0", ABuffer::CreateAsCopy(sets.sequences.data(), sets.sequences.size()));
    format->setBuffer("csd-1", ABuffer::CreateAsCopy(sets.pictures.data(), sets.pictures.size()));
    client()->onOutputFormat(format);
}

// ---- Worker

void AvcEncoder::runWorker() {
    if (!(mQueue != nullptr ? encodeSurface() : encodeInputs()) || !drain()) return;
    mLate.finish();
    mUnusable.finish();
    if (mQueue != nullptr && mQueue->endNs() != PictureQueue::kUnknownEnd) {
        mEnd->set(mQueue->endNs() / 1000);
    }
    emitEnd(mLastTimeUs);
}

bool AvcEncoder::encodeSurface() {
    for (;;) {
        QueuedPicture next;
        bool acquired = false;
        if (!waitUntil([&] {
                acquired = mQueue->tryAcquire(&next);
                return acquired || mQueue->atEnd();
            })) {
            return false;
        }
        if (!acquired) return true;
        if (!changeBitrate()) return false;
        if (const AVFrame* const frame = frameOf(next.picture)) {
            encodePicture(*frame, next.timestampNs / 1000);
        }
        next.picture.clear();
        mQueue->release();
        if (!receiveUnits()) return false;
    }
}

bool AvcEncoder::encodeInputs() {
    CodecInput input;
    for (;;) {
        switch (nextInput(&input)) {
            case Next::kStop:
                return false;
            case Next::kDrain:
                continue;
            case Next::kInput:
                break;
        }
        if (!changeBitrate()) return false;
        if (input.buffer->size() > 0) {
            if (mInputIsRecords) {
                encodeRecord(input);
            } else {
                encodeInput(input);
            }
        }
        const bool isLast = (input.flags & MediaCodec::BUFFER_FLAG_EOS) != 0;
        if (isLast && mDeinterlace != 0) finishDeinterlacing();
        // A client may wait for its next picture when it is asked for one: what comes of this one
        // goes first.
        if (!receiveUnits()) return false;
        client()->onInputConsumed(input.index);
        if (isLast) return true;
    }
}

// The client keeps what the record refers to until the input is consumed.
void AvcEncoder::encodeRecord(const CodecInput& input) {
    VideoNativeMetadata record = {};
    if (input.buffer->size() >= sizeof(record)) {
        memcpy(&record, input.buffer->data(), sizeof(record));
    }
    if (record.eType != kMetadataBufferTypeANWBuffer || record.pBuffer == nullptr) {
        mUnusable.add();
        return;
    }
    const AVFrame* const picture = frameOf(record.pBuffer->picture);
    if (picture == nullptr) return;
    if (mDeinterlace == 0) {
        encodePicture(*picture, input.timeUs);
    } else {
        encodeDeinterlaced(*picture, input.timeUs);
    }
}

// Null, and counted, for a picture whose pixels are not libavcodec's.
const AVFrame* AvcEncoder::frameOf(const sp<Picture>& picture) {
    const AvPicture* const known = AvPicture::of(picture.get());
    if (known == nullptr) mUnusable.add();
    return known == nullptr ? nullptr : known->frame();
}

void AvcEncoder::encodeDeinterlaced(const AVFrame& picture, int64_t timeUs) {
    int err = av_frame_ref(mFrame, &picture);
    mFrame->pts = timeUs;
    if (err >= 0) err = mConverter.push(mFrame);
    if (err >= 0) err = encodeFieldPictures();
    av_frame_unref(mFrame);
    if (err < 0) mUnusable.add(err);
}

// What the filters give at the moment, which lags behind by a picture.
int AvcEncoder::encodeFieldPictures() {
    for (;;) {
        int err = mConverter.pull(mFrame);
        if (err == AVERROR(EAGAIN) || err == AVERROR_EOF) return 0;
        const int64_t timeUs = av_rescale_q(mFrame->pts, mConverter.timeBase(), kMicroseconds);
        if (err >= 0) err = encodeFrame(timeUs);
        av_frame_unref(mFrame);
        if (err < 0) return err;
        if (!receiveUnits()) return 0;
    }
}

void AvcEncoder::finishDeinterlacing() {
    const auto intervalUs = static_cast<int64_t>(1e6F / mFrameRate);
    if (mConverter.finish(mLastTimeUs + intervalUs) >= 0) encodeFieldPictures();
}

void AvcEncoder::encodeInput(const CodecInput& input) {
    if (input.buffer->size() < static_cast<size_t>(mStride) * mSliceHeight * 3 / 2) {
        mUnusable.add();
        return;
    }
    const AvFrameOwner picture(av_frame_alloc());
    if (picture == nullptr) return;
    const bool semiPlanar = mPixelFormat == AV_PIX_FMT_NV12;
    picture->width = mWidth;
    picture->height = mHeight;
    picture->format = mPixelFormat;
    picture->linesize[0] = mStride;
    picture->linesize[1] = picture->linesize[2] = semiPlanar ? mStride : mStride / 2;
    picture->data[0] = input.buffer->data();
    picture->data[1] = picture->data[0] + static_cast<size_t>(mStride) * mSliceHeight;
    if (semiPlanar) {
        picture->linesize[2] = 0;
    } else {
        picture->data[2] = picture->data[1] + static_cast<size_t>(mStride) * mSliceHeight / 4;
    }
    // The encoder has copied the pixels when it returns: nobody needs to free them.
    picture->buf[0] = av_buffer_create(
            picture->data[0], input.buffer->size(), [](void*, uint8_t*) {}, nullptr,
            AV_BUFFER_FLAG_READONLY);
    encodePicture(*picture, input.timeUs);
}

void AvcEncoder::encodePicture(const AVFrame& picture, int64_t timeUs) {
    int err = av_frame_ref(mFrame, &picture);
    if (err >= 0 && !isTooLate(timeUs)) err = convertPicture();
    if (err >= 0) err = encodeFrame(timeUs);
    av_frame_unref(mFrame);
    if (err < 0) mUnusable.add(err);
}

bool AvcEncoder::isTooLate(int64_t timeUs) const {
    return mInputIsRecords && mHasLastTime && timeUs <= mLastTimeUs;
}

// Encodes mFrame, which has the encoder's size and format.
int AvcEncoder::encodeFrame(int64_t timeUs) {
    if (isTooLate(timeUs)) {
        mLate.add();
        return 0;
    }
    if (mHasLastTime) timeUs = std::max(timeUs, mLastTimeUs + 1);
    // The encoder chooses the picture's type by itself: the decoder's means nothing here.
    mFrame->pict_type = takeSyncRequest() ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    mFrame->pts = timeUs;
    const int err = avcodec_send_frame(mCodec, mFrame);
    if (err < 0) return err;
    mHasLastTime = true;
    mLastTimeUs = timeUs;
    return 0;
}

int AvcEncoder::convertPicture() {
    // The same samples; the range is told in the header.
    if (mFrame->format == AV_PIX_FMT_YUVJ420P && mCodec->color_range == AVCOL_RANGE_JPEG) {
        mFrame->format = AV_PIX_FMT_YUV420P;
    }
    if (mFrame->width == mWidth && mFrame->height == mHeight && mFrame->format == mPixelFormat) {
        return 0;
    }
    const int err = mConverter.push(mFrame);
    return err < 0 ? err : mConverter.pull(mFrame);
}

bool AvcEncoder::takeSyncRequest() {
    AnnotatedLock lock(mParametersLock);
    const bool requested = mSyncRequested;
    mSyncRequested = false;
    return requested;
}

// Without a buffer model, which would cost quality at every bit rate, x264 cannot change it: a new
// encoder goes on with a key frame and the same parameter sets.
bool AvcEncoder::changeBitrate() {
    int32_t bitrate;
    {
        AnnotatedLock lock(mParametersLock);
        bitrate = mNewBitrate;
        mNewBitrate = 0;
    }
    if (bitrate == 0 || bitrate == mCodec->bit_rate || mBitrate == 0) return true;
    // Left alone, the encoder would choose another level for another bit rate.
    AvCodecOwner next = newCodec(bitrate, levelIdcOf(*mCodec));
    if (next == nullptr) return true;
    if (!hasSameParameterSets(*mCodec, *next)) {
        ALOGW("the bit rate cannot become %d: the stream's header would change", bitrate);
        return true;
    }
    const bool running = drain();
    mCodec = std::move(next);
    return running;
}

bool AvcEncoder::drain() {
    avcodec_send_frame(mCodec, nullptr);
    return receiveUnits();
}

bool AvcEncoder::receiveUnits() {
    for (;;) {
        const int err = avcodec_receive_packet(mCodec, mPacket);
        if (err == AVERROR(EAGAIN) || err == AVERROR_EOF) return true;
        if (err < 0) {
            mUnusable.add(err);
            return true;
        }
        CodecOutput output;
        output.timeUs = mPacket->pts;
        output.flags = mPacket->flags & AV_PKT_FLAG_KEY ? MediaCodec::BUFFER_FLAG_SYNCFRAME : 0;
        output.data = new PacketBuffer(mPacket);
        if (!emit(output)) return false;
    }
}

sp<CodecComponent> createAvcEncoder(const AString& /*mime*/) {
    return new AvcEncoder;
}

}  // namespace android
