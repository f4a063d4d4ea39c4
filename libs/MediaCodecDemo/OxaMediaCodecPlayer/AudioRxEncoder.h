// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <android/hidl/memory/1.0/IMemory.h>
#include <hidl/HidlSupport.h>
#include <media/stagefright/MediaCodec.h>
#include <stddef.h>
#include <utils/Condition.h>
#include <utils/List.h>
#include <utils/Mutex.h>
#include <vendor/oxa/audioutil/1.0/IAudioUtil.h>
#include <vendor/oxa/audioutil/1.0/IAudioUtilCallback.h>

#include <audio_utils/resampler.h>

#include <atomic>

#include "BaseEncoder.h"
#include "HdmiRxInfo.h"
#include "OxaMediaCodecPlayerCommon.h"
#include "OxaMediaMuxer.h"
#include "TrackEncoder.h"

namespace android {

// Records the sound of the HDMI receiver, which a vendor service captures, plays to the speakers
// and hands over in blocks of 16-bit PCM: polls the service every 15 ms, converts the blocks to the
// rate that was asked for and turns them into AAC in the muxer. Tells the player when the
// receiver's picture comes and goes.
//
//   UNINITIALIZED -setAudioSource-> INITIALIZED -configure-> CONFIGURED -prepare-> PREPARED
//   -start-> STARTED -stop-> STOPPED -reset-> UNINITIALIZED
//
// Public calls run on the caller's thread, one at a time; a call in another state is a fatal
// assertion. The service's errors are ignored: there is no sound while it does not answer.
class AudioRxEncoder : public BaseEncoder, virtual public OxaBase {
  public:
    // Connects to the service and allocates the memory for its blocks.
    AudioRxEncoder();

    // There is one source only: `source` has no effect.
    status_t setAudioSource(int source);
    // Takes the channel count and the sampling rate (Hz) of the record; also in STARTED.
    status_t configure(const _AV_FORMAT_FORMAT* format);
    status_t prepare();
    // Starts the service's capture; `startTimeUs` has no effect. The encoder's status, if it
    // records already.
    status_t start(int64_t startTimeUs);
    // Any state: monitoring on the device's output, on (1) or off (0).
    status_t setPlayback(int flag);
    // Any state: recording on (1) or off (0); `startTimeUs` has no effect.
    status_t setRecord(int flag, int64_t startTimeUs);
    // Any state; shares it.
    status_t setMuxer(const sp<OxaMediaMuxer>& muxer);
    // Any state. The encoder's status; what it still holds is discarded.
    status_t stop();
    status_t reset();

    // The time of the last access unit handed to the muxer in this recording or the last one, -1
    // before the first; any thread, without blocking.
    int64_t lastTimeUs() const { return mTrackEncoder.lastTimeUs(); }

    void onMessageReceived(const sp<AMessage>& msg) override;

    void handleEncoderInputBuffer(uint32_t index) override;
    void handleEncoderOutputBuffer(uint32_t index, uint32_t offset, uint32_t size, int64_t timeUs,
                                   int32_t flags) override;
    void handleEncoderOutputFormatChange(const sp<AMessage>& format) override;
    void handleEncoderError(int32_t err, int32_t actionCode, const char* detail) override;

  protected:
    ~AudioRxEncoder() override;

  private:
    class AudioCallback;

    enum { kWhatReadRxAudio = 1 };

    enum State {
        UNINITIALIZED = 0,
        INITIALIZED = 1,
        CONFIGURED = 2,
        PREPARED = 3,
        STARTED = 4,
        STOPPED = 5,
    };

    // One block of 16-bit interleaved PCM.
    struct _RxAudioFrame {
        void* buffer;        // owned (malloc) by a frame in mFrames
        int32_t bufferSize;  // bytes allocated
        int32_t size;        // bytes of sound
        int64_t timeUs;      // presentation time
        int32_t channelCount;
        int32_t sampleRate;  // Hz
    };

    bool answered(const hardware::details::return_status& result);
    void connectService();
    void allocateSharedMemory();
    void notifyHotplug(int state);

    void postFirstPoll();
    bool isCurrentPoll(const sp<AMessage>& msg) const;
    void onReadRxAudio();
    void handleBlock(int64_t timeStampUs, int32_t size, int32_t channelCount, int32_t sampleRate,
                     int32_t state);
    bool resampleAudio(const _RxAudioFrame& in, _RxAudioFrame* out);
    bool convertRate(const _RxAudioFrame& in, _RxAudioFrame* out);
    bool copyBlock(const _RxAudioFrame& in, _RxAudioFrame* out);

    bool isRecording() const { return mState == STARTED && mRecord; }
    bool waitForFrame(_RxAudioFrame* frame);
    void configureEncoder();
    void releaseEncoder();
    void pushFrame(const _RxAudioFrame& frame) REQUIRES(mLock);
    _RxAudioFrame popFrame() REQUIRES(mLock);
    void dropFrames();

    std::atomic<int> mState{UNINITIALIZED};
    sp<::vendor::oxa::audioutil::V1_0::IAudioUtil> mAudioUtil;
    Mutex mLock;
    Condition mCond;  // monotonic; never signalled
    sp<MediaCodec> mEncoder;
    sp<OxaMediaMuxer> mMuxer;
    sp<ALooper> mEncoderLooper;
    sp<ALooper> mCBLooper;
    sp<EncodeCBHandler> mEncodeCBHandler;
    List<_RxAudioFrame> mFrames GUARDED_BY(mLock);
    struct resampler_itfe* mResampler = NULL;  // made on first need, for the channels of that block
    ssize_t mAudioTrackIndex = -1;
    std::atomic<int32_t> mChannelCount{2};  // may change while the poll runs; so may the rate
    std::atomic<int32_t> mSampleRate{48000};
    int64_t mStartTimeUs GUARDED_BY(mLock) =
            -1;  // of the service's clock, -1 before the first block
    std::atomic<bool> mRecord{false};
    int32_t mPid;
    sp<AudioCallback> mAudioCallback;
    hardware::hidl_memory mSharedMemory;
    void* mSharedBase = NULL;
    sp<hidl::memory::V1_0::IMemory> mMemory;

    int32_t mResamplerChannels = 0;
    int64_t mFrameBytes GUARDED_BY(mLock) = 0;     // in mFrames
    bool mSoundDropped GUARDED_BY(mLock) = false;  // in this recording
    std::atomic<bool> mServiceErrorTold{false};
    HdmiRxInfo::User mInfoUser;
    std::atomic<int32_t> mRecordingCount{0};
    TrackEncoder mTrackEncoder;
};

}  // namespace android
