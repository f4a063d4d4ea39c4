// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gui/IGraphicBufferProducer.h>
#include <gui/Surface.h>
#include <media/DataSource.h>
#include <media/MediaCodecBuffer.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/NuMediaExtractor.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <atomic>

#include "BaseDecoder.h"
#include "BaseEncoder.h"
#include "OxaMediaCodecPlayerCommon.h"
#include "OxaMediaMuxer.h"

namespace android {

// Turns the first video track of a file into AVC in the muxer. The decoder renders straight into
// the encoder's input surface: no picture passes through this class.
//
//   UNINITIALIZED -setDataSource-> WAIT_MUXER -setMuxer-> WAIT_TARGET_FORMAT
//   -setTargetFormat-> UNPREPARED -prepare-> PREPARED -start-> STARTED -stop-> STOPPED
//   -reset-> UNINITIALIZED
//
// Every call but setStreamOutput and the readers of progress is a request to the transcoder's own
// looper and returns when it was handled. A call in another state is a fatal assertion.
class VideoTranscoder : public BaseDecoder, public BaseEncoder, virtual public OxaBase {
  public:
    VideoTranscoder();

    // The file to read. The descriptor is duplicated; offset and length in bytes. OK always: what
    // cannot be read shows in prepare().
    status_t setDataSource(const char* path);
    status_t setDataSource(int fd, int64_t offset, int64_t length);
    status_t setMuxer(const sp<OxaMediaMuxer>& muxer);
    // `format` is not copied: it must outlive the transcoder, and prepare() writes a computed
    // frame rate and bit rate back into it.
    status_t setTargetFormat(const _AV_FORMAT_FORMAT& format);
    // Opens the file and makes both codecs. UNKNOWN_ERROR without a video track (also reported as
    // NO_VIDEO_TRACK), else the extractor's or the codec's status.
    status_t prepare();
    status_t start();
    // Discards what is still in the codecs. Opens the muxer's gate if it was never started.
    status_t stop();
    status_t reset();
    // Interval of the frame-rate reports in seconds; 0 or less: none.
    status_t setCalculateFPS(double seconds);
    // For network outputs: samples leave no earlier than their time. Before start().
    void setStreamOutput(bool enable) { mStreamOutput = enable; }

    // Any thread: time of the last sample written (microseconds, -1 before the first), and how
    // many were written.
    int64_t lastTimeUs() const { return mLastTimeUs; }
    int64_t encodedFrames() const { return mEncodedFrames; }

    void onMessageReceived(const sp<AMessage>& msg) override;

    void handleDecoderInputBuffer(uint32_t index) override;
    void handleDecoderOutputBuffer(uint32_t index, uint32_t offset, uint32_t size, int64_t timeUs,
                                   int32_t flags) override;
    void handleDecoderOutputFormatChange(const sp<AMessage>& format) override;
    void handleDecoderError(int32_t err, int32_t actionCode, const char* detail) override;

    void handleEncoderInputBuffer(uint32_t index) override;
    void handleEncoderOutputBuffer(uint32_t index, uint32_t offset, uint32_t size, int64_t timeUs,
                                   int32_t flags) override;
    void handleEncoderOutputFormatChange(const sp<AMessage>& format) override;
    void handleEncoderError(int32_t err, int32_t actionCode, const char* detail) override;

  protected:
    ~VideoTranscoder() override;

  private:
    enum {
        kWhatSetDataSource = 0,
        kWhatSetDataSourceFd = 1,
        kWhatPrepare = 2,
        kWhatStart = 3,
        kWhatStop = 4,
        kWhatReset = 5,
        kWhatSetMuxer = 6,
        kWhatSetTargetFormat = 7,
        kWhatCalculateFPS = 8,
        // Posted by the callback threads to have the codecs torn down on this looper.
        kWhatSelfStop = 9,
        kWhatSelfReset = 10,
    };

    enum State {
        UNINITIALIZED = 0,
        WAIT_MUXER = 1,
        WAIT_TARGET_FORMAT = 2,
        UNPREPARED = 3,
        PREPARED = 4,
        STOPPED = 5,
        STARTED = 6,
    };

    // The two points where the frame rate is measured, as "codec-type" names them.
    enum CodecType : int32_t { kDecoderSide = 1, kEncoderSide = 2 };

    void onSetDataSource(const sp<AMessage>& msg);
    void onSetDataSourceFd(const sp<AMessage>& msg);
    void onSetMuxer(const sp<AMessage>& msg);
    void onSetTargetFormat(const sp<AMessage>& msg);
    status_t onPrepare();
    void onCalculateFPS(const sp<AMessage>& msg);
    status_t onStart();
    void onStop();
    void onSelfStop();
    void onReset();

    bool findVideoTrack(sp<AMessage>* format, AString* mime);
    void createDecoder(const AString& mime);
    void createEncoder();
    sp<AMessage> buildFormats(const sp<AMessage>& trackFormat);
    void attachEncoderRelay();
    status_t configureEncoder(const sp<AMessage>& format);
    status_t configureDecoder(const sp<AMessage>& format);

    void queueSample(uint32_t index, const sp<MediaCodecBuffer>& buffer);
    void endInput();
    void waitForStreamTime(int64_t timeUs);
    void signalEOS();
    void reportDone(status_t err);
    bool reportsFrameRate() const { return mCalculateFPS > 0; }
    void countFrame(CodecType side);
    void postFrameRate(uint32_t what, const char* key, double rate, CodecType side);

    sp<NuMediaExtractor> mExtractor;
    sp<MediaCodec> mDecoderCodec;
    sp<MediaCodec> mEncoderCodec;
    sp<OxaMediaMuxer> mMuxer;
    sp<DataSource> mDataSource;
    sp<ALooper> mCodecLooper;
    sp<ALooper> mEncoderLooper;
    sp<ALooper> mDecodeCBLooper;
    sp<ALooper> mEncodeCBLooper;
    sp<DecodeCBHandler> mDecodeCBHandler;
    sp<EncodeCBHandler> mEncodeCBHandler;
    sp<IGraphicBufferProducer> mInputProducer;
    sp<Surface> mInputSurface;
    AString mDecoderName;
    AString mEncoderName;
    _AV_FORMAT_FORMAT* mTargetFormat;

    // Frame-rate statistics; times in microseconds. Each "Dec" field belongs to the decoder's
    // callback thread, each "Enc" field to the encoder's.
    int64_t mStartTimeUs;
    int64_t mEndTimeUs;
    int64_t mDecLastReportUs;
    int64_t mDecLastFrameUs;
    int64_t mEncLastReportUs;
    int64_t mEncLastFrameUs;
    std::atomic<int64_t> mDecodedFrames;
    std::atomic<int64_t> mEncodedFrames;
    std::atomic<int64_t> mDecFramesSinceReport;
    std::atomic<int64_t> mEncFramesSinceReport;
    std::atomic<double> mCalculateFPS;

    std::atomic<int64_t> mLastTimeUs;
    ssize_t mVideoTrackIndex;
    bool mFirstOutput;
    std::atomic<bool> mStreamOutput;
    bool mInputEOS;
    int64_t mStreamStartUs;
    std::atomic<int> mState;
    Mutex mPaceMutex;
    Condition mPaceCond;  // monotonic; never signalled

    // False until the muxer takes samples; stays so when the gate was opened without a start.
    bool mWriting;
    std::atomic<bool> mStopRequested;  // ends pacing waits
    std::atomic<bool> mRefused;        // stopped itself: the muxer did not take the track
    bool mCodecsStopped;               // command looper only
};

}  // namespace android
