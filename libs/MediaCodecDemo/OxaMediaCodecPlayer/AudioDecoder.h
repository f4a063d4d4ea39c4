// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <datasource/FileSource.h>
#include <media/AudioTrack.h>
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

// Plays the first audio track of a file through an AudioTrack: paced against a clock whose origin
// start() gives, so that sound and picture share one time base, or as fast as it comes (free run).
//
//   UNINITIALIZED -setDataSource-> UNPREPARED -prepare-> PREPARED -start-> STARTED -stop-> STOPPED
//   and reset as in VideoDecoder, whose rules for calls hold here too.
class AudioDecoder : public BaseDecoder, virtual public OxaBase {
  public:
    AudioDecoder();

    // See VideoDecoder for all of these.
    status_t setDataSource(const char* path);
    status_t setDataSource(int fd, int64_t offset, int64_t length);
    status_t setFreeRun(int enable);
    // OK without an audio track too, which is reported as NO_AUDIO_TRACK.
    status_t prepare();
    // `startTimeUs`: when media time 0 is due, in the time of ALooper::GetNowUs.
    status_t start(int64_t startTimeUs);
    status_t stop();
    status_t reset();

    // Any thread: what start() was given, 0 before.
    int64_t startTimeUs() const { return mStartTimeUs; }
    // Any thread: time of the last buffer that was written, -1 before the first.
    int64_t lastTimeUs() const { return mLastTimeUs; }

    void setAudioSession(int32_t sessionId) { mAudioSessionId = sessionId; }

    void handleDecoderInputBuffer(uint32_t index) override;
    void handleDecoderOutputBuffer(uint32_t index, uint32_t offset, uint32_t size, int64_t timeUs,
                                   int32_t flags) override;
    void handleDecoderOutputFormatChange(const sp<AMessage>& format) override;
    void handleDecoderError(int32_t err, int32_t actionCode, const char* detail) override;

    void onMessageReceived(const sp<AMessage>& msg) override;

  protected:
    ~AudioDecoder() override;

  private:
    enum {
        kWhatSetDataSourcePath = 0,
        kWhatSetDataSourceFdRange = 1,
        kWhatSetFreeRunMode = 2,
        kWhatPrepareDecoder = 3,
        kWhatStartDecoder = 4,
        kWhatStopDecoder = 5,
        kWhatResetDecoder = 6,
    };

    enum State {
        UNINITIALIZED = 0,
        UNPREPARED = 1,
        PREPARED = 2,
        STARTED = 3,
        STOPPED = 4,
    };

    void onSetFreeRunMode(const sp<AMessage>& msg);
    status_t onPrepare();
    status_t onStart();
    status_t onStop();
    status_t onReset();

    bool isDue(int64_t timeUs);
    void writePcm(const sp<MediaCodecBuffer>& buffer, size_t size, int64_t timeUs);
    bool hasSession() const { return mAudioSessionId != -1; }

    std::atomic<bool> mFreeRun{false};
    bool mInputEOS = false;
    sp<NuMediaExtractor> mExtractor;
    sp<FileSource> mSource;
    sp<MediaCodec> mMediaCodec;
    sp<ALooper> mCodecLooper;
    sp<AudioTrack> mAudioTrack;
    sp<AMessage> mCallback;
    sp<ALooper> mDecodeCBLooper;
    sp<DecodeCBHandler> mDecodeCBHandler;
    AString mComponentName;
    std::atomic<int64_t> mStartTimeUs{0};
    std::atomic<int32_t> mAudioSessionId{-1};
    std::atomic<int> mState{UNINITIALIZED};
    Mutex mLock;
    Condition mCondition;  // monotonic; never signalled

    std::atomic<bool> mStopRequested{false};  // ends the pacing wait
    std::atomic<int64_t> mLastTimeUs{-1};
    TrackReader mTrackReader;
};

}  // namespace android
