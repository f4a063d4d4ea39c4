// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/AudioRecord.h>
#include <media/AudioTrack.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <utils/String16.h>

#include <atomic>

#include "BaseEncoder.h"
#include "OxaMediaCodecPlayerCommon.h"
#include "OxaMediaMuxer.h"
#include "SoundQueue.h"
#include "TrackEncoder.h"

namespace android {

// Captures live sound from a microphone, and plays it at once (monitoring, "playback") or turns it
// into AAC in the muxer ("record"), or both; each is switched on and off while it runs.
//
//   UNINITIALIZED -setAudioSource-> INITIALIZED -configure-> CONFIGURED -prepare-> PREPARED
//   -start-> STARTED -stop-> STOPPED -reset-> UNINITIALIZED
//
// Every call is a request to the encoder's own looper and returns when it was handled. A call in
// another state is a fatal assertion.
class AudioRecordEncoder : public BaseEncoder, virtual public OxaBase {
  public:
    AudioRecordEncoder();

    // `source`: audio_source_t; another number is a fatal assertion.
    status_t setAudioSource(int source, const String16& clientName);
    // Takes the channel count (1 or 2, else a fatal assertion) and the sampling rate (Hz) of the
    // record; also in STARTED, for the next recording.
    status_t configure(const _AV_FORMAT_FORMAT* format);
    // Makes capture and monitor; their status.
    status_t prepare();
    // Any state; shares it.
    status_t setMuxer(const sp<OxaMediaMuxer>& muxer);
    // Any state: monitoring, recording, on (1) or off (0).
    status_t setPlayback(int enable);
    status_t setRecord(int enable);
    status_t start();
    // What the encoder still holds is discarded.
    status_t stop();
    // Any state: drops the encoder; capture and monitor last as long as the object.
    status_t reset();

    // The time of the last access unit handed to the muxer in this recording or the last one, -1
    // before the first; any thread, without blocking.
    int64_t lastTimeUs() const { return mTrackEncoder.lastTimeUs(); }

    void handleEncoderInputBuffer(uint32_t index) override;
    void handleEncoderOutputBuffer(uint32_t index, uint32_t offset, uint32_t size, int64_t timeUs,
                                   int32_t flags) override;
    void handleEncoderOutputFormatChange(const sp<AMessage>& format) override;
    void handleEncoderError(int32_t err, int32_t actionCode, const char* detail) override;

    void onMessageReceived(const sp<AMessage>& msg) override;

  protected:
    ~AudioRecordEncoder() override;

  private:
    enum {
        kWhatSetAudioSource = 0,
        kWhatConfigure = 1,
        kWhatPrepare = 2,
        kWhatSetMuxer = 3,
        kWhatSetPlayback = 4,
        kWhatSetRecord = 5,
        kWhatStart = 6,
        kWhatStop = 7,
        kWhatReset = 8,
    };

    enum State {
        UNINITIALIZED = 0,
        INITIALIZED = 1,
        CONFIGURED = 2,
        PREPARED = 3,
        STARTED = 4,
        STOPPED = 5,
    };

    void onSetAudioSource(const sp<AMessage>& msg);
    void onConfigure(const sp<AMessage>& msg);
    void onSetMuxer(const sp<AMessage>& msg);
    status_t onPrepare();
    void onSetPlayback(bool enable);
    void onSetRecord(bool enable);
    void onStart();
    void onStop();

    status_t createAudioRecord();
    status_t createAudioTrack();
    void startCapture();
    void stopCapture();
    void startAudioRender();
    void stopAudioRender();

    // On the capture's and the monitor's own threads; `user` is the encoder, `info` the event's
    // buffer.
    static void AudioRecordCallback(int event, void* user, void* info);
    static void AudioTrackCallback(int event, void* user, void* info);
    void AudioRecordDataCb(AudioRecord::Buffer* buffer);
    void AudioTrackDataCb(AudioTrack::Buffer* buffer);

    bool isRecording() const { return mState == STARTED && mRecord; }
    void setupAudioEncoder();
    void releaseEncoder();

    std::atomic<int32_t> mState{UNINITIALIZED};
    std::atomic<bool> mPlayback{false};
    std::atomic<bool> mRecord{false};
    sp<AudioTrack> mAudioTrack;
    sp<AudioRecord> mAudioRecord;
    SoundQueue mRenderQueue;
    SoundQueue mEncodeQueue;
    int32_t mChannelCount = 0;
    int32_t mSampleRate = 0;
    int32_t mAudioSource = AUDIO_SOURCE_DEFAULT;
    String16 mClientName;
    sp<MediaCodec> mEncoder;
    sp<OxaMediaMuxer> mMuxer;
    sp<ALooper> mEncoderLooper;
    sp<ALooper> mEncodeCBLooper;
    sp<EncodeCBHandler> mEncodeCBHandler;
    ssize_t mAudioTrackIndex = -1;
    int64_t mRecordStartTimeUs GUARDED_BY(mRecordLock) = -1;  // -1: nothing recorded yet
    Mutex mWaitLock;
    Condition mWaitCond;  // monotonic; never signalled

    Mutex mRecordLock;
    TrackEncoder mTrackEncoder;
};

}  // namespace android
