// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>

#include "codec/DamageCounter.h"
#include "codec/TimeSpreader.h"
#include "codec/TunneledRenderer.h"
#include "codec/VideoRequest.h"
#include "codec/WorkerComponent.h"
#include "ffmpeg/AvOwner.h"
#include "ffmpeg/PictureConversion.h"
#include "graphics/PictureQueue.h"

namespace android {

// Decodes any pictures that libavcodec knows, and converts them as the format asks: "eWid" and
// "eHei" (the size after rotation, with square samples), "eFps", "video-de-interlace" 1 or 2,
// "rotation-degrees", and the extractor's kFormatKeyMirrored. A size that the output surface
// requires goes before "eWid" and "eHei".
//
// configure() takes the stream's parameters from the format's TrackParameters object, or without
// one from "mime", "width", "height" and "csd-0", "csd-1", ... Damaged data is skipped and counted.
//
// With a surface, a place of it is reserved before a picture is offered; without one, outputs are
// planar 4:2:0 bytes. Times of pictures that do not rise are spread; no picture is dropped for its
// time. The end comes from an end-of-stream input (an empty end-of-stream output
// follows the last picture) or from the surface's request to drain (none follows).
//
// Tunneled, with "feature-tunneled-playback" 1 and a surface, it renders by itself when the clock
// of the session ("audio-hw-sync", its own one with "tunnel-no-audio" 1) has reached a picture,
// drops those that are late, and offers no outputs. The end is then the recoverable error
// WOULD_BLOCK.
class AvVideoDecoder : public WorkerComponent {
  public:
    explicit AvVideoDecoder(const AString& mime);

    AString name() const override;
    status_t configure(const sp<AMessage>& format, const sp<Surface>& surface) override;
    size_t inputCount() const override { return kInputCount; }
    size_t inputCapacity() const override { return mRequest.inputCapacity; }
    void releaseOutput(const CodecOutput& output, bool render, int64_t timestampNs) override;

  protected:
    ~AvVideoDecoder() override;

    status_t openCodec() override;
    void closeCodec() override;
    void onStopped() override;
    void runWorker() override;

  private:
    class SurfaceListener;

    static constexpr size_t kInputCount = 2;

    status_t connect(const sp<Surface>& surface);

    // Worker only. The steps answer false when the component is being stopped.
    bool decodeInput(const CodecInput& input);
    bool decodePacket();
    bool receiveFrames();
    bool handleFrame();
    bool handleReadyFrames();
    bool convertFrame();
    bool finishConversion();
    int64_t tickOfConversion() const;
    bool emitConverted();
    bool emitPicture();
    bool drain();
    void reportEnd();

    void addHeaders(MediaCodecBuffer& buffer);
    bool fillPacket(const CodecInput& input);
    bool isNeedless(const AVPacket& packet) const;
    void startTimes();
    int64_t ptsOfFrame();
    void endAtWindow();
    int64_t endUs() const;
    int64_t timeUsOf(const AVFrame& converted) const;
    void reportFormat(const PictureFormat& format);
    PictureFormat formatOf(const AVFrame& frame) const;
    PictureFormat formatOfStream() const;
    sp<ABuffer> copyOf(const AVFrame& frame);

    const AString mMime;

    // Set by configure, constant while the worker runs.
    VideoRequest mRequest;
    sp<PictureQueue> mQueue;  // null without a surface
    sp<SurfaceListener> mListener;
    int64_t mStartUs = 0;  // the stream's time of the track's time 0
    // A new frame rate counts from the track's time 0 and needs it taken off before the conversion;
    // else it is taken off behind it, which keeps times exact.
    int64_t mConversionStartPts = 0;  // in the finer time base
    int64_t mConversionStartUs = 0;

    // Worker only while it runs.
    AvCodecOwner mCodec;  // null while it runs: the codec data was refused
    AvPacketOwner mPacket;
    std::vector<uint8_t> mHeaders;  // inputs of their own, until the next sample
    AvFrameOwner mDecoded;
    AvFrameOwner mConverted;
    TunneledRenderer mTunnel;
    // Pictures between those of the stream need times between the stream's: it counts times so
    // much finer than the stream from there on.
    int mFineness = 1;
    TimeSpreader mTimes;
    PictureConversion mConverter;
    DamageCounter mDamage;
    int64_t mNextPts = 0;              // when the last frame ended, in the stream's time base
    std::optional<int64_t> mFirstPts;  // of what is shown, as the conversion gets it
    int64_t mEndPts = 0;               // the same of the last one that is shown
    bool mEndKnown = false;            // whether the stream has told it
    int64_t mLastTimeUs = 0;
    bool mFormatReported = false;
    int32_t mReportedWidth = 0;
    int32_t mReportedHeight = 0;
    bool mDrained = false;
};

// A decoder for a "video/..." type. Whether libavcodec can decode it is found out by configure(),
// since the stream's parameters say more than the type.
sp<CodecComponent> createAvVideoDecoder(const AString& mime);

}  // namespace android
