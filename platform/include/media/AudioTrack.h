// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <binder/IMemory.h>
#include <media/AudioSystem.h>
#include <system/audio.h>
#include <utils/Errors.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

namespace android {

struct SoundFormat;
class SoundSink;
class TrackBuffer;

// One stream of 16-bit sound to a listener. Where it is heard (sound device, file, nowhere) was
// chosen before the track was made, see oxa/host/SoundOutput.h.
//
//   stopped --start--> active --pause--> paused --start--> active
//      ^                  |                 |--flush--> flushed --start--> active
//      +------- stop -----+------- stop ----+
//
// Between the writer and the listener lies a ring of frameCount() frames. Sound begins with 40 ms
// of silence, at the start and after an underrun, so that a writer that brings each buffer when it
// is due has that much room for being late.
//
// All calls are thread-safe. start, stop, pause and flush wait for each other. Memory that is
// passed stays the caller's.
class AudioTrack : public AudioSystem::AudioDeviceCallback {
  public:
    enum event_type {
        EVENT_MORE_DATA = 0,  // info: Buffer*
        EVENT_UNDERRUN = 1,   // info: null
        EVENT_LOOP_END = 2,
        EVENT_MARKER = 3,
        EVENT_NEW_POS = 4,
        EVENT_BUFFER_END = 5,
        EVENT_NEW_IAUDIOTRACK = 6,
        EVENT_STREAM_END = 7,
        EVENT_CAN_WRITE_MORE_DATA = 9,
    };

    enum transfer_type {
        TRANSFER_DEFAULT = 0,  // TRANSFER_CALLBACK with a callback, else TRANSFER_SYNC
        TRANSFER_CALLBACK = 1,
        TRANSFER_OBTAIN = 2,
        TRANSFER_SYNC = 3,  // write()
        TRANSFER_SHARED = 4,
        TRANSFER_SYNC_NOTIF_CALLBACK = 5,
    };

    // What EVENT_MORE_DATA asks for. The callback fills `raw`, which is the track's and valid
    // during the call, and sets `size` to the bytes delivered; with 0 it is asked again a little
    // later.
    class Buffer {
      public:
        size_t frameCount = 0;
        size_t size = 0;
        union {
            void* raw = nullptr;
            int16_t* i16;
            int8_t* i8;
        };
        uint32_t sequence = 0;  // counts the requests
    };

    // Called on the track's own thread "AudioTrack", only while the track is active; a call that is
    // running when stop() or pause() returns may still finish. It must not drop the last reference
    // to the track. EVENT_MORE_DATA and EVENT_UNDERRUN are the events there are, the latter once
    // for each underrun. A callback that claims more than was offered is not called again.
    typedef void (*callback_t)(int event, void* user, void* info);

    // `sampleRate` 0: 48000. `frameCount` 0, or less than getMinFrameCount(): that many, with a
    // callback a fifth. `notificationFrames` 0: half the ring. `sessionId` AUDIO_SESSION_ALLOCATE:
    // a new one. The other arguments have no meaning here. Opens the output; errors are told by
    // initCheck().
    AudioTrack(audio_stream_type_t streamType, uint32_t sampleRate, audio_format_t format,
               audio_channel_mask_t channelMask, size_t frameCount = 0,
               audio_output_flags_t flags = AUDIO_OUTPUT_FLAG_NONE, callback_t cbf = nullptr,
               void* user = nullptr, int32_t notificationFrames = 0,
               audio_session_t sessionId = AUDIO_SESSION_ALLOCATE,
               transfer_type transferType = TRANSFER_DEFAULT,
               const audio_offload_info_t* offloadInfo = nullptr, uid_t uid = AUDIO_UID_INVALID,
               pid_t pid = -1, const audio_attributes_t* pAttributes = nullptr,
               bool doNotReconnect = false, float maxRequiredSpeed = 1.0f,
               audio_port_handle_t selectedDeviceId = AUDIO_PORT_HANDLE_NONE,
               const std::string& opPackageName = "");

    // Sound in shared memory. Linux outputs do not play from it: initCheck() is INVALID_OPERATION.
    AudioTrack(audio_stream_type_t streamType, uint32_t sampleRate, audio_format_t format,
               audio_channel_mask_t channelMask, const sp<IMemory>& sharedBuffer,
               audio_output_flags_t flags = AUDIO_OUTPUT_FLAG_NONE, callback_t cbf = nullptr,
               void* user = nullptr, int32_t notificationFrames = 0,
               audio_session_t sessionId = AUDIO_SESSION_ALLOCATE,
               transfer_type transferType = TRANSFER_DEFAULT,
               const audio_offload_info_t* offloadInfo = nullptr, uid_t uid = AUDIO_UID_INVALID,
               pid_t pid = -1, const audio_attributes_t* pAttributes = nullptr,
               bool doNotReconnect = false, float maxRequiredSpeed = 1.0f,
               const std::string& opPackageName = "");

    // The ring that a track gets when it asks for none: half a second, at least two of the largest
    // decoder buffers. BAD_VALUE for null, a wrong stream type or sample rate.
    static status_t getMinFrameCount(size_t* frameCount, audio_stream_type_t streamType,
                                     uint32_t sampleRate);

    // OK; BAD_VALUE for a wrong stream type, sample rate, format (PCM of 8 to 32 bits, or
    // float) or channel mask (1 to 8 channels), or a callback mode without callback;
    // INVALID_OPERATION for a transfer type other than TRANSFER_SYNC and TRANSFER_CALLBACK; NO_INIT
    // when the output cannot be opened.
    status_t initCheck() const;

    // INVALID_OPERATION when active, initCheck()'s error of a track that could not be made, else
    // the output's error, the state being unchanged then.
    status_t start();

    // From active: plays what was written, waits for the end of it (the length of the ring and the
    // output's latency at most, plus one second when the output is stuck), and becomes stopped.
    // From paused: drops what was written. Else nothing. The position is 0 afterwards.
    void stop();

    // True in every state but active, also while stop() is waiting.
    bool stopped() const;

    // Only when not active: drops what was written and not played. The position is 0 afterwards.
    void flush();

    // Only when active: what was written stays and is played after the next start().
    void pause();

    // Takes whole frames and returns their size in bytes. `blocking`: waits until all are taken,
    // but not on a track that is not active or leaves that state meanwhile, nor on an output that
    // is stuck. WOULD_BLOCK when nothing fits, BAD_VALUE for a null buffer with a size,
    // INVALID_OPERATION with a callback, initCheck()'s error.
    ssize_t write(const void* buffer, size_t size, bool blocking = true);

    // Milliseconds that a full ring and the output take.
    uint32_t latency();

    size_t frameCount() const { return mFrameCount; }
    size_t frameSize() const { return mFrameSize; }
    uint32_t channelCount() const { return mChannelCount; }
    audio_session_t getSessionId() const { return mSessionId; }

    // 0 (silent) to 1. BAD_VALUE for anything else.
    status_t setVolume(float volume);

    // Frames that have been heard since the start from stopped or flushed, without silence of the
    // track's own. BAD_VALUE for null.
    status_t getPosition(uint32_t* position);

    // AudioDeviceCallback
    void onAudioDeviceUpdate(audio_io_handle_t /*audioIo*/,
                             audio_port_handle_t /*deviceId*/) override {}

  protected:
    ~AudioTrack() override;

  private:
    enum class State { kStopped, kActive, kStopping, kPaused, kFlushed };

    AudioTrack(const AudioTrack&) = delete;
    AudioTrack& operator=(const AudioTrack&) = delete;

    status_t open(audio_stream_type_t streamType, uint32_t sampleRate, audio_format_t format,
                  audio_channel_mask_t channelMask, size_t frameCount, int32_t notificationFrames,
                  transfer_type transferType);
    void runCallback();
    bool askForData(Buffer* request, void* pcm);
    size_t writePcm(const void* pcm, size_t frames, bool blocking);

    const callback_t mCallback;
    void* const mUser;
    // Constant after construction.
    status_t mStatus = NO_INIT;
    uint32_t mSampleRate = 0;
    audio_format_t mFormat = AUDIO_FORMAT_PCM_16_BIT;
    uint32_t mChannelCount = 0;
    size_t mFrameSize = 0;  // bytes; of all channels
    size_t mFrameCount = 0;
    size_t mNotificationFrames = 0;
    audio_session_t mSessionId = AUDIO_SESSION_NONE;
    bool mCallbackMode = false;

    Mutex mTransitionLock;  // held through start, stop, pause, flush
    std::atomic<State> mState{State::kStopped};
    std::unique_ptr<TrackBuffer> mBuffer;  // null only when mStatus is not OK
    std::unique_ptr<SoundSink> mSink;      // after mBuffer, from which it pulls
    std::thread mCallbackThread;
};

}  // namespace android
