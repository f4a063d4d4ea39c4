// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gui/IGraphicBufferProducer.h>
#include <gui/Surface.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <atomic>

#include "FileTranscoder.h"

namespace android {

// Turns the first video track of a file into AVC in the muxer. The decoder renders straight into
// the encoder's input surface: no picture passes through this class.
class VideoTranscoder : public FileTranscoder {
  public:
    VideoTranscoder();

    // `format` is not copied: it must outlive the transcoder, and prepare() writes a computed
    // frame rate and bit rate back into it.
    status_t setTargetFormat(const _AV_FORMAT_FORMAT& format);
    // Interval of the frame-rate reports in seconds; 0 or less: none.
    status_t setCalculateFPS(double seconds);

    void onMessageReceived(const sp<AMessage>& msg) override;

    void handleDecoderInputBuffer(uint32_t index) override;
    void handleDecoderOutputBuffer(uint32_t index, uint32_t offset, uint32_t size, int64_t timeUs,
                                   int32_t flags) override;
    void handleDecoderOutputFormatChange(const sp<AMessage>& format) override;

    void handleEncoderInputBuffer(uint32_t index) override;
    void handleEncoderOutputBuffer(uint32_t index, uint32_t offset, uint32_t size, int64_t timeUs,
                                   int32_t flags) override;

  protected:
    ~VideoTranscoder() override = default;

    status_t onPrepare() override;
    status_t onStart() override;
    void onStop() override;
    void onReset() override;
    void onInputEnd(uint32_t index) override;
    void waitPaceStep() override;

  private:
    enum { kWhatCalculateFPS = 8 };

    // The two points where the frame rate is measured, as "codec-type" names them.
    enum CodecType : int32_t { kDecoderSide = 1, kEncoderSide = 2 };

    static const Kind kKind;

    void onCalculateFPS(const sp<AMessage>& msg);

    sp<AMessage> buildFormats(const sp<AMessage>& trackFormat);
    status_t configureDecoder(const sp<AMessage>& format);

    void signalEOS();
    bool reportsFrameRate() const { return mCalculateFPS > 0; }
    void countFrame(CodecType side);
    void postFrameRate(uint32_t what, const char* key, double rate, CodecType side);

    sp<IGraphicBufferProducer> mInputProducer;
    sp<Surface> mInputSurface;

    // Frame-rate statistics; times in microseconds. Each "Dec" field belongs to the decoder's
    // callback thread, each "Enc" field to the encoder's.
    int64_t mStartTimeUs = 0;
    int64_t mEndTimeUs = 0;
    int64_t mDecLastReportUs = 0;
    int64_t mDecLastFrameUs = 0;
    int64_t mEncLastReportUs = 0;
    int64_t mEncLastFrameUs = 0;
    std::atomic<int64_t> mDecodedFrames{0};
    std::atomic<int64_t> mEncodedFrames{0};
    std::atomic<int64_t> mDecFramesSinceReport{0};
    std::atomic<int64_t> mEncFramesSinceReport{0};
    std::atomic<double> mCalculateFPS{-1.0};

    ssize_t mVideoTrackIndex = -1;
    Mutex mPaceMutex;
    Condition mPaceCond;  // monotonic; never signalled
};

}  // namespace android
