// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "base/AnnotatedMutex.h"
#include "codec/DamageCounter.h"
#include "codec/WorkerComponent.h"
#include "ffmpeg/AvOwner.h"
#include "ffmpeg/PictureConversion.h"
#include "graphics/PictureQueue.h"
#include "media/TrackEnd.h"

namespace android {

// Encodes pictures as H.264 without B-frames, so that units come in the order of the pictures.
//
// Keys of the format: "width" and "height" (needed; odd ones are rounded down to even), "bitrate"
// in bits per second (0: constant quality), "frame-rate" (30), "i-frame-interval" in seconds (2;
// 0: only key frames, negative: only the first), "profile" and "level" as the platform numbers them
// (0: the encoder's choice), and for input by bytes "color-format", "stride" and "slice-height".
// With "android._input-metadata-buffer-type" for native buffers an input holds a record that refers
// to a picture, whose pixels are not copied; "video-de-interlace" works on such pictures (1: keeps
// their rate, 2: doubles it).
//
// The encoder opens in start() and reports its output format there, with "csd-0" (SPS) and "csd-1"
// (PPS); access units hold no parameter sets. The colours of an input surface are taken over as
// they are known then. A picture of another size or format is converted.
//
// Records come from a live source: a picture that went in comes out before the next one goes in,
// and one that is not later than the one before is dropped and counted. All other pictures may wait
// for those behind them, which serves quality and speed, and one that is not later is made so.
class AvcEncoder : public WorkerComponent {
  public:
    AvcEncoder();

    AString name() const override { return AString("c2.linux.avc.encoder"); }
    status_t configure(const sp<AMessage>& format, const sp<Surface>& surface) override;
    size_t inputCount() const override { return mInputIsRecords ? 1 : kInputCount; }
    size_t inputCapacity() const override { return mInputCapacity; }
    status_t createInputSurface(sp<IGraphicBufferProducer>* producer) override;
    status_t signalEndOfInputStream() override;
    status_t setParameters(const sp<AMessage>& params) override;
    void flush() override;

  protected:
    ~AvcEncoder() override;

    status_t openCodec() override;
    void closeCodec() override;
    void onStopped() override;
    void runWorker() override;

  private:
    class SurfaceListener;

    static constexpr size_t kInputCount = 4;

    status_t readLayout(const sp<AMessage>& format);
    AvCodecOwner newCodec(int32_t bitrate, int level) const;
    void reportFormat();

    // Worker only. The steps answer false when the component is being stopped.
    bool encodeSurface();
    bool encodeInputs();
    bool receiveUnits();
    bool changeBitrate();
    bool drain();

    void encodePicture(const AVFrame& picture, int64_t timeUs);
    bool isTooLate(int64_t timeUs) const;
    int encodeFrame(int64_t timeUs);
    int convertPicture();
    void encodeDeinterlaced(const AVFrame& picture, int64_t timeUs);
    int encodeFieldPictures();
    void finishDeinterlacing();
    void encodeRecord(const CodecInput& input);
    const AVFrame* frameOf(const sp<Picture>& picture);
    void encodeInput(const CodecInput& input);
    bool takeSyncRequest();

    // Set by configure, constant while the worker runs.
    int32_t mWidth = 0;
    int32_t mHeight = 0;
    int32_t mBitrate = 0;
    float mFrameRate = 0;
    float mKeyIntervalSec = 0;
    int32_t mProfile = 0;
    int32_t mLevel = 0;
    AVPixelFormat mPixelFormat = AV_PIX_FMT_YUV420P;
    int32_t mStride = 0;  // of the bytes that are queued
    int32_t mSliceHeight = 0;
    size_t mInputCapacity = 0;
    bool mInputIsRecords = false;
    int32_t mDeinterlace = 0;
    sp<PictureQueue> mQueue;  // null: input by bytes or records

    AnnotatedMutex mParametersLock;
    int32_t mNewBitrate GUARDED_BY(mParametersLock) = 0;  // 0: no change
    bool mSyncRequested GUARDED_BY(mParametersLock) = false;

    // Worker only while it runs.
    AvCodecOwner mCodec;
    AvFrameOwner mFrame;
    AvPacketOwner mPacket;
    PictureConversion mConverter;
    DamageCounter mLate;
    DamageCounter mUnusable;
    bool mHasLastTime = false;
    int64_t mLastTimeUs = 0;
    sp<TrackEnd> mEnd;  // of the stream that the last format has told of
};

sp<CodecComponent> createAvcEncoder(const AString& mime);

}  // namespace android
