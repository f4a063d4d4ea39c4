// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <binder/IMemory.h>
#include <camera/android/hardware/ICamera.h>
#include <gui/IGraphicBufferProducer.h>
#include <gui/Surface.h>
#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>
#include <media/stagefright/foundation/AString.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <utils/String16.h>
#include <utils/String8.h>

#include <atomic>
#include <memory>

#include "OxaMediaCodecPlayerCommon.h"

namespace android {

class AudioDecoder;
class AudioRecordEncoder;
class AudioRxEncoder;
class AudioTranscoder;
class CameraRecorder;
class OxaMediaMuxer;
class TranscodeDrain;
class VideoDecoder;
class VideoTranscoder;

// How far a transcoding job has come: what was handed to the muxer.
struct _TRANSCODE_PROGRESS {
    int64_t videoTimeUs;  // time of the last picture, -1 before the first
    int64_t audioTimeUs;  // time of the last access unit, -1 before the first
    int64_t videoFrames;  // pictures so far
};

// How far a playback has come.
struct _PLAYBACK_PROGRESS {
    int64_t startTimeUs;    // when media time 0 was due (ALooper::GetNowUs), 0: not known yet
    int64_t videoTimeUs;    // time of the last picture that was shown, -1 before the first
    int64_t audioTimeUs;    // time of the last sound that was written, -1 before the first
    int64_t shownFrames;    // pictures so far; tunneled: handed to the codec
    int64_t droppedFrames;  // pictures that came too late and were not shown
};

// How far the present recording of a live source has come, or the last one.
struct _RECORDING_PROGRESS {
    int64_t capturedTimeUs;  // time of the last picture given to the encoder, -1 before the first
    int64_t videoTimeUs;     // time of the last picture handed to the muxer, -1 before the first
    int64_t audioTimeUs;     // time of the last access unit, -1 before the first
    int64_t videoFrames;     // pictures handed to the muxer
    int64_t thinnedFrames;   // pictures of the camera that the target rate has no room for
};

// The library's one public object: plays a file, transcodes a file, previews and records a live
// source.
//
//   file playback    UNINITIALIZED -initiate-> INITIALIZED -setDataSource-> WAIT_SURFACE
//                    -setSurface-> UNPREPARED
//   file transcode   ... INITIALIZED -setDataSource-> WAIT_MUXER -setMuxer-> WAIT_TARGET_FORMAT
//                    -setTargetFormat-> UNPREPARED
//   live source      ... INITIALIZED -setCameraSource-> WAIT_AUDIO_SOURCE -setAudioSource->
//                    WAIT_SURFACE -setSurface-> WAIT_PREVIEW_PARAMS [-setMuxer->
//                    WAIT_TARGET_FORMAT] -setTargetFormat-> UNPREPARED
//   all              UNPREPARED -prepare-> PREPARED -start-> STARTED -stop-> STOPPED
//                    any state -cleanup-> UNINITIALIZED
//
// Calls may come from any thread but the player's own looper thread (in particular not from
// mStatusCallback); each blocks until the looper has handled it and returns OK unless it says
// otherwise. A call in a state that its comment does not name is a fatal assertion.
class OxaMediaCodecPlayer : public AHandler {
  public:
    // With `createLooper` the player runs on a looper of its own; otherwise the client registers
    // it on one (with a thread of its own) before initiate(). `onlyTrack`: CODEC_AUDIO_ONLY,
    // CODEC_VIDEO_ONLY, else both streams.
    OxaMediaCodecPlayer(bool createLooper, int onlyTrack);

    // In UNINITIALIZED. `transcodeType`: SourceType. For a file one of `playback` and `transcode`
    // may be set, for a live source both.
    status_t initiate(int transcodeType, bool playback, bool transcode);

    // Source. A file, in INITIALIZED: by path, or by descriptor (duplicated; the client keeps and
    // closes its own) with offset and length in bytes. What cannot be read shows in prepare().
    status_t setDataSource(const char* path);
    status_t setDataSource(int fd, long long offset, long long length);

    // A live source, in INITIALIZED. `cameraId`: number of the camera; 1 always means the HDMI
    // receiver. Or a camera that the client has opened; shared. The name is copied.
    status_t setCameraSource(int cameraId, const String16& clientName);
    status_t setCameraSource(const sp<hardware::ICamera>& camera);
    // Sound of a live source, in WAIT_AUDIO_SOURCE: audio_source_t for a USB camera (another number
    // is a fatal assertion), without effect for the HDMI receiver.
    status_t setAudioSource(int audioSource);

    // Surface of a playback or preview; in WAIT_SURFACE. Shares `producer`.
    status_t setSurface(const sp<IGraphicBufferProducer>& producer);

    // Output; in WAIT_MUXER for a file, in any state for a live source; while one records, it is
    // that of the next recording. Strings are copied, the descriptor is duplicated, memories are
    // shared; null strings in the record become "". UNKNOWN_ERROR when there is no such output or
    // it cannot be opened, BAD_VALUE for a name or address of 4096 characters or more: the output
    // that was set before stays, and the call may be repeated.
    status_t setMuxer(_OxaTranscodeConfig& config);
    // In WAIT_TARGET_FORMAT, WAIT_PREVIEW_PARAMS or STARTED. The record is copied.
    status_t setTargetFormat(const _AV_FORMAT_FORMAT& format);

    // Switches. What is rendered; in any state, and each call that changes nothing has no effect.
    // For a live source `video` is the preview, which begins with start() unasked and is ended by a
    // change from true to false, and `audio` the sound on the device's output, off at first.
    status_t setPlayback(bool video, bool audio);
    // Any state, for a live source: recording on or off, to the output of the last setMuxer (a file
    // whose name was used up gets a default name). OK always; without a usable output it stays off.
    // On before start(): begins with it. On while the former recording is still being finished:
    // begins after that. Off: the file is whole a little later, at the latest when stop() returns.
    status_t setTranscode(bool transcode);
    // File playback, between initiate() and prepare(): the codec shows the pictures by itself, in
    // step with the sound of an audio session of its own. `enable` false has no effect.
    status_t setTunneledPlayback(bool enable);
    // File playback, not in UNINITIALIZED: without pacing, each picture and sound at once.
    status_t setFreeRun(bool enable);
    // File, not in UNINITIALIZED: how often mStatusHandler is told the frame rate, in seconds.
    status_t setCalculateFPS(double seconds);
    // Accepted, no effect.
    status_t setWritebackSource(int /* source */) { return OK; }

    // Run control. Opens file or camera and configures the codecs; in UNPREPARED. A pipeline that
    // cannot is a fatal assertion.
    status_t prepare();
    // In PREPARED. Returns when all pipelines run; one that cannot be started is a fatal assertion.
    status_t start();
    // In STARTED, else without effect. Returns when no pipeline runs any more and the output is
    // whole; what is still on its way to it is discarded.
    status_t stop();
    // Waits on the caller's thread until every transcoder has handed its last sample to the muxer:
    // call it after kWhatPlayerEOS and before stop(), which discards what is still on its way.
    // TIMED_OUT after `timeoutUs` microseconds; INVALID_OPERATION when it will not come: not
    // running, stopped meanwhile, a track was refused, a codec failed or the muxer did not start.
    status_t drain(int64_t timeoutUs);
    // Stops, dismantles the pipelines on the caller's thread and closes the descriptors. Any state;
    // calls of other threads are answered before it or find the player uninitialized.
    status_t cleanup();

    // Of a live source, between initiate() and cleanup(), on any thread; wait for the camera's
    // looper, not for the player's. A picture into memory that stays until the next one: the
    // recorder takes none, and its answer ends the process by a fatal assertion. The camera's
    // parameter list, empty without one.
    status_t getCameraSnapshot(_CAMERA_SNAPSHOT_PARA* snapshot);
    String8 getCameraParameters();

    // Any thread, without blocking. All streams have reached their end.
    bool EOSReached() { return mAllEOS; }
    // Between initiate() and cleanup(), from the thread that calls these: BAD_VALUE for null.
    status_t getTranscodeProgress(_TRANSCODE_PROGRESS* progress);
    status_t getPlaybackProgress(_PLAYBACK_PROGRESS* progress);
    status_t getRecordingProgress(_RECORDING_PROGRESS* progress);
    // Sleeps on the caller's thread.
    status_t waitTime(long long us);

    void onMessageReceived(const sp<AMessage>& msg) override;

  protected:
    ~OxaMediaCodecPlayer() override;

  private:
    enum {
        kWhatInitiate = 0,
        kWhatSetDataSource = 1,
        kWhatSetDataSourceFd = 2,
        kWhatSetCameraSource = 3,
        kWhatSetCameraSource2 = 4,
        kWhatSetAudioSource = 5,
        kWhatSetPlayback = 6,
        kWhatSetTranscode = 7,
        kWhatSetTunneledPlayback = 8,
        kWhatSetFreeRun = 9,
        kWhatSetCalculateFPS = 10,
        kWhatPrepare = 11,
        kWhatStart = 12,
        kWhatSetMuxer = 13,
        kWhatSetTargetFormat = 14,
        kWhatSetSurface = 15,
        kWhatStop = 16,
    };

    enum State {
        UNINITIALIZED = 0,        // there are no pipelines
        INITIALIZED = 1,          // the pipelines are there, for the kind of source
        WAIT_AUDIO_SOURCE = 2,    // the camera is known
        WAIT_SURFACE = 3,         // the source is known, not where it is shown
        WAIT_MUXER = 4,           // the file to be transcoded is known
        WAIT_TARGET_FORMAT = 5,   // so is its output
        WAIT_PREVIEW_PARAMS = 6,  // all of a live source is known but size and rate
        UNPREPARED = 7,           // everything is known, nothing is opened
        PREPARED = 8,             // the codecs are configured
        STARTED = 9,   // the pipelines run, and stay in it when they have reached the end
        STOPPED = 11,  // only cleanup() leads on
    };

    // Whether the pipelines run: setMuxer() takes mState back while a live source does.
    enum Phase { kBeforeStart, kRunning, kAfterStop };

    // The life of the output. Nothing else tells whether there is a recording.
    enum OutputState {
        kOutputNone,       // there is no muxer
        kOutputReady,      // a muxer that no pipeline was told to write to
        kOutputRecording,  // the pipelines write, or begin to
        kOutputFinishing,  // they were told to end; their reports let go of the muxer
    };

    // Values of _OxaTranscodeConfig.
    enum OutputType {
        kOutputFile = 0,
        kOutputStandardStream = 1,
        kOutputMemory = 2,
        kOutputMemoryAndNetwork = 3,
        kOutputUdp = 4,
        kOutputRtp = 5,
        kOutputMemoryAndNetwork2 = 6,
        kOutputDescriptor = 7,
    };
    enum OutputContainer { kContainerMpeg2Ts = 0, kContainerMpeg4 = 1 };

    enum { kMaxOutputText = 4096 };

    // What a kind of source does in each step; chosen by initiate().
    class Source;
    class PlaybackSource;
    class TranscodeSource;
    template <typename AudioEncoder>
    class LiveSource;
    class UsbSource;
    class HdmiRxSource;

    // The output that setMuxer() described, as it was before.
    struct FormerOutput;

    // Which streams this player handles.
    bool handlesVideo() const { return mOnlyTrack != CODEC_AUDIO_ONLY; }
    bool handlesAudio() const { return mOnlyTrack != CODEC_VIDEO_ONLY; }
    // True when every stream that is handled has its flag.
    bool allHandled(bool video, bool audio) const;

    status_t request(const sp<AMessage>& msg);
    sp<AMessage> newCameraRequest(uint32_t what, const String16& clientName);
    void resetVariables();

    status_t handleRequest(const sp<AMessage>& msg);
    void handleReport(const sp<AMessage>& msg);

    // The requests: each checks the state, reads its message and moves the state on.
    status_t onInitiate(const sp<AMessage>& msg);
    status_t onSetDataSource(const sp<AMessage>& msg);
    status_t onSetDataSourceFd(const sp<AMessage>& msg);
    status_t onSetCameraSource(const sp<AMessage>& msg);
    status_t onSetCameraSource2(const sp<AMessage>& msg);
    status_t onSetAudioSource(const sp<AMessage>& msg);
    status_t onSetPlayback(const sp<AMessage>& msg);
    status_t onSetTranscode(const sp<AMessage>& msg);
    status_t onSetTunneledPlayback(const sp<AMessage>& msg);
    status_t onSetFreeRun(const sp<AMessage>& msg);
    status_t onSetCalculateFPS(const sp<AMessage>& msg);
    status_t onPrepare();
    status_t onStart();
    status_t onSetMuxer(const sp<AMessage>& msg);
    status_t onSetTargetFormat(const sp<AMessage>& msg);
    status_t onSetSurface(const sp<AMessage>& msg);
    status_t onStop();
    void onReset();

    void makeSource();
    void readCameraRequest(const sp<AMessage>& msg);

    // Reports of the pipelines.
    void onDecodeGotEOS(const sp<AMessage>& msg);
    void onStopTranscode(const sp<AMessage>& msg);
    void onTrackAdded(const sp<AMessage>& msg);
    void onTranscodeDone(const sp<AMessage>& msg);
    void onVideoHotplug(const sp<AMessage>& msg);
    void notifyPlayerEOS();

    // Output.
    status_t setOutput(_OxaTranscodeConfig& config);
    status_t setOutputFormat(_OxaTranscodeConfig& config);
    void completeOutputFormat();
    void setDefaultAddress();
    void setDefaultName();
    status_t makeMuxer();
    status_t tryOutput();
    sp<OxaMediaMuxer> createMuxer();
    sp<OxaMediaMuxer> createMpeg4Muxer();
    sp<OxaMediaMuxer> createMpeg2TsMuxer();
    sp<OxaMediaMuxer> createFileMuxer(int format);
    int openOutputFile();
    void switchRecording(bool enable);
    void switchOn();
    bool hasOutput() const;
    bool reopenOutput();
    void beginRecording();
    void switchOff();
    void closeOutput();
    void dropUnusedMuxer();
    void finishMuxer();
    status_t onStopMuxer();
    void closeFd();

    sp<IMemory> mSnapshotMemory;
    std::atomic<int> mState{UNINITIALIZED};
    const bool mCreateLooper;
    sp<ALooper> mLooper;

  public:
    // Set after construction, and again after each cleanup(), before initiate(). The handler
    // receives kWhatPlayerEOS, hot-plug and frame-rate reports, and kWhatError of a transcoding
    // whose encoder failed; null stands for the player itself.
    sp<AHandler> mStatusHandler;
    // Called on the player's looper thread with kWhatPlayerEOS; it must not call the player, which
    // would wait for itself (caught in debug builds).
    void (*mStatusCallback)(const sp<AMessage>& msg) = nullptr;

  private:
    Mutex mWaitLock;
    Condition mWaitCond;  // monotonic; never signalled: waitTime() is a bounded sleep
    int32_t mTranscodeType = SourceTypeFile;
    int32_t mTranscode = 0;
    int32_t mPlayback = 0;
    const int mOnlyTrack;
    int32_t mSessionId = -1;
    bool mRenderVideo;
    bool mRenderAudio;
    std::atomic<bool> mAllEOS;
    bool mVideoEOS;
    bool mAudioEOS;
    bool mNoVideoTrack;
    bool mNoAudioTrack;
    bool mVideoStopped;
    bool mAudioStopped;
    bool mMuxerStopped;
    bool mVideoTrackAdded;
    bool mAudioTrackAdded;
    sp<AudioDecoder> mAudioDecoder;
    sp<ALooper> mAudioDecodeLooper;
    sp<VideoDecoder> mVideoDecoder;
    sp<ALooper> mVideoDecodeLooper;
    sp<VideoTranscoder> mVideoTranscoder;
    sp<ALooper> mVideoTranscodeLooper;
    sp<AudioTranscoder> mAudioTranscoder;
    sp<ALooper> mAudioTranscodeLooper;
    sp<CameraRecorder> mCameraRecorder;
    sp<ALooper> mCameraReaderLooper;
    sp<AudioRxEncoder> mAudioRxEncoder;
    sp<ALooper> mAudioManagerLooper;
    sp<AudioRecordEncoder> mAudioRecordEncoder;
    sp<ALooper> mAudioRecordReaderLooper;
    sp<OxaMediaMuxer> mMediaMuxer;
    AString mInputFile;
    AString mSecondFile;
    sp<Surface> mSurface;
    sp<hardware::ICamera> mICamera;
    _AV_FORMAT_FORMAT mTargetFormat{};
    _OxaTranscodeConfig mOutputFormat{};
    String16 mClientName;
    int32_t mCameraType = 0;
    int32_t mCameraId = 0;
    int32_t mAudioSource = 0;
    int32_t mFileId = 0;  // 0: none
    int64_t mFileOffset = 0;
    int64_t mFileLength = 0;
    int32_t mFileSourceType = 0;  // 0 by path, 1 by descriptor
    char mOutputName[kMaxOutputText]{};
    char mOutputAddress[kMaxOutputText]{};

    // Held for each request and report, and by whoever dismantles the pipelines on another thread.
    Mutex mStepLock;
    std::unique_ptr<Source> mSource;
    Phase mPhase;
    OutputState mOutputState;
    bool mSwitchOnPending;  // recording is wanted as soon as it is possible

    std::atomic<bool> mStopRequested{false};  // ends the wait for the first picture

    bool mDefaultName = false;    // the output's name was made here
    bool mOutputFdOwned = false;  // mOutputFormat.fileDesc is a duplicate that is still open
    bool mOutputIsNext = false;   // the output was set while another one records

    const std::unique_ptr<TranscodeDrain> mDrain;
};

}  // namespace android
