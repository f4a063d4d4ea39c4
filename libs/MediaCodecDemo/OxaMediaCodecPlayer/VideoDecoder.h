// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <datasource/FileSource.h>
#include <gui/Surface.h>
#include <media/MediaCodecBuffer.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/NuMediaExtractor.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <atomic>

#include "BaseDecoder.h"
#include "OxaMediaCodecPlayerCommon.h"
#include "TrackReader.h"

namespace android {

// Plays the first video track of a file onto a surface: paced by the pictures' times against a
// clock that starts with the first picture, or as fast as they come (free run).
//
//   UNINITIALIZED -setDataSource-> WAIT_SURFACE -setSurface-> UNPREPARED -prepare-> PREPARED
//   -start-> STARTED -stop-> STOPPED; reset leads from STARTED and STOPPED to UNINITIALIZED and
//   changes nothing elsewhere. A start that fails leads to UNINITIALIZED.
//
// Every call is a request to the decoder's own looper and returns when it was handled; one in
// another state is a fatal assertion. After a reset the object is not used again.
class VideoDecoder : public BaseDecoder, virtual public OxaBase {
  public:
    VideoDecoder();

    // The file to read. The descriptor is duplicated; offset and length in bytes.
    status_t setDataSource(const char* path);
    status_t setDataSource(int fd, int64_t offset, int64_t length);
    status_t setSurface(const sp<Surface>& surface);
    // Any state.
    status_t setFreeRun(int enable);
    // Any state. Interval of the frame-rate reports in seconds; 0 or less: none.
    status_t setCalculateFPS(double seconds);
    // The extractor's status. OK without a video track too, which is reported as NO_VIDEO_TRACK.
    status_t prepare();
    // The codec's status.
    status_t start();
    status_t stop();
    status_t reset();

    // Any thread: when the first picture came (ALooper::GetNowUs), the time of media time 0; 0
    // until then.
    int64_t firstFrameTimeUs() const { return mStartTimeUs; }
    // Any thread: no (further) picture will come.
    bool hasEnded() const { return mEnded; }
    // Any thread: time of the last picture that was rendered, -1 before the first; pictures that
    // were rendered (tunneled: handed to the codec), and those that came too late.
    int64_t lastTimeUs() const { return mLastTimeUs; }
    int64_t shownFrames() const { return mShownFrames; }
    int64_t droppedFrames() const { return mDroppedFrames; }
    // The audio session of a tunneled playback, -1: not tunneled. Before prepare().
    void setAudioSession(int32_t sessionId) { mAudioSessionId = sessionId; }

    void handleDecoderInputBuffer(uint32_t index) override;
    void handleDecoderOutputBuffer(uint32_t index, uint32_t offset, uint32_t size, int64_t timeUs,
                                   int32_t flags) override;
    void handleDecoderOutputFormatChange(const sp<AMessage>& format) override;
    void handleDecoderError(int32_t err, int32_t actionCode, const char* detail) override;

    void onMessageReceived(const sp<AMessage>& msg) override;

  protected:
    ~VideoDecoder() override;

  private:
    enum {
        kWhatSetDataSourcePath = 0,
        kWhatSetDataSourceFdRange = 1,
        kWhatAttachSurface = 2,
        kWhatPrepareDecoder = 3,
        kWhatStartDecoder = 4,
        kWhatStopDecoder = 5,
        kWhatResetDecoder = 6,
        kWhatSetFreeRunMode = 7,
        kWhatSetFPSInterval = 8,
    };

    enum State {
        UNINITIALIZED = 0,
        WAIT_SURFACE = 1,
        UNPREPARED = 2,
        PREPARED = 3,
        STOPPED = 4,
        STARTED = 5,
    };

    void onAttachSurface(const sp<AMessage>& msg);
    void onSetFreeRunMode(const sp<AMessage>& msg);
    void onSetFPSInterval(const sp<AMessage>& msg);
    status_t onPrepare();
    status_t onStart();
    status_t onStop();
    status_t onReset();

    void startClock();
    void waitUntilDue(int64_t timeUs);
    void countFrame(int64_t timeUs);
    void calculateFps();
    void handleCodecEOS();
    bool isTunneled() const { return mAudioSessionId != -1; }

    std::atomic<int64_t> mStartTimeUs{0};
    std::atomic<bool> mError{false};
    std::atomic<bool> mFreeRun{false};
    bool mInputEOS = false;
    std::atomic<double> mCalculateFPS{-1.0};
    std::atomic<int32_t> mAudioSessionId{-1};
    // Frame-rate statistics; times in microseconds.
    int64_t mEndTimeUs = 0;
    int64_t mFpsIntervalStartUs = 0;
    int64_t mLastFrameTimeUs = 0;
    std::atomic<int64_t> mFrameCount{0};
    std::atomic<int64_t> mIntervalFrameCount{0};
    sp<NuMediaExtractor> mExtractor;
    sp<FileSource> mSource;
    sp<MediaCodec> mMediaCodec;
    sp<ALooper> mCodecLooper;
    sp<AMessage> mCallback;
    sp<Surface> mSurface;
    sp<ALooper> mDecodeCBLooper;
    sp<DecodeCBHandler> mDecodeCBHandler;
    AString mComponentName;
    std::atomic<int> mState{UNINITIALIZED};
    Mutex mLock;
    Condition mCondition;  // monotonic; never signalled

    std::atomic<bool> mEnded{false};
    std::atomic<bool> mStopRequested{false};  // ends the pacing wait
    std::atomic<int64_t> mLastTimeUs{-1};
    std::atomic<int64_t> mShownFrames{0};
    std::atomic<int64_t> mDroppedFrames{0};
    TrackReader mTrackReader;
};

}  // namespace android
