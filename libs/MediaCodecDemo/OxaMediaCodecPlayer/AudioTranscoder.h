// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/DataSource.h>
#include <media/MediaCodecBuffer.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/NuMediaExtractor.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <utils/Condition.h>
#include <utils/List.h>
#include <utils/Mutex.h>

#include <atomic>

#include "BaseDecoder.h"
#include "BaseEncoder.h"
#include "OxaMediaCodecPlayerCommon.h"
#include "OxaMediaMuxer.h"

namespace android {

// Turns the first audio track of a file into AAC in the muxer: decoded PCM is copied into a queue
// and from there into the encoder, which also mixes and resamples to the target. The encoder is
// made when the decoder has reported what it delivers.
//
// Commands, states and life cycle are those of VideoTranscoder; a call in another state is a fatal
// assertion.
class AudioTranscoder : public BaseDecoder, public BaseEncoder, virtual public OxaBase {
  public:
    AudioTranscoder();

    // See VideoTranscoder for all of these.
    status_t setDataSource(const char* path);
    status_t setDataSource(int fd, int64_t offset, int64_t length);
    status_t setMuxer(const sp<OxaMediaMuxer>& muxer);
    status_t setTargetFormat(const _AV_FORMAT_FORMAT& format);
    // UNKNOWN_ERROR without an audio track (also reported as NO_AUDIO_TRACK).
    status_t prepare();
    // The codec's status; when it fails the transcoder stays PREPARED.
    status_t start();
    status_t stop();
    status_t reset();
    void setStreamOutput(bool enable) { mStreamOutput = enable; }

    // Any thread: the time of the last picture written, which the sound follows within a second;
    // microseconds, -1: there is none to follow.
    void setVideoTimeUs(int64_t timeUs) { mVideoTimeUs = timeUs; }
    // Any thread: time of the last sample written (microseconds, -1 before the first).
    int64_t lastTimeUs() const { return mLastTimeUs; }

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
    ~AudioTranscoder() override;

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

    void onSetDataSource(const sp<AMessage>& msg);
    void onSetDataSourceFd(const sp<AMessage>& msg);
    void onSetMuxer(const sp<AMessage>& msg);
    void onSetTargetFormat(const sp<AMessage>& msg);
    status_t onPrepare();
    status_t onStart();
    void onStop();
    void onReset();

    bool findAudioTrack(sp<AMessage>* format, AString* mime);
    void createDecoder(const AString& mime);
    status_t configureDecoder(const sp<AMessage>& format);
    void createEncoder();
    sp<AMessage> buildEncoderFormat(const sp<AMessage>& decoderFormat);

    void queueSample(uint32_t index, const sp<MediaCodecBuffer>& buffer);
    void endInput(uint32_t index);
    void throttle(int64_t sampleTimeUs);
    bool waitForPcm();
    bool pcmQueueEmpty();
    void queuePcm(uint32_t index);
    void waitForStreamTime(int64_t timeUs);
    void waitOnce(nsecs_t delayNs);
    void signalEOS();
    void reportDone(status_t err);

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
    List<sp<ABuffer>> mPcmQueue GUARDED_BY(mQueueLock);  // meta: "timeUs", "flags"
    Mutex mQueueLock;
    Mutex mWaitLock;
    Condition mWaitCond;  // monotonic; never signalled
    AString mDecoderName;
    AString mEncoderName;
    _AV_FORMAT_FORMAT* mTargetFormat;
    std::atomic<int64_t> mVideoTimeUs;
    ssize_t mAudioTrackIndex;
    bool mFirstOutput;
    std::atomic<bool> mStreamOutput;
    bool mInputEOS;
    int64_t mStreamStartUs;
    std::atomic<int> mState;

    std::atomic<size_t> mPcmBytes;  // in mPcmQueue
    std::atomic<int64_t> mLastTimeUs;
    bool mEncoderInputEOS;  // encoder callback thread only
    bool mWriting;          // as in VideoTranscoder
    std::atomic<bool> mRefused;
    bool mCodecsStopped;  // command looper only
};

}  // namespace android
