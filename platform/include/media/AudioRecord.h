// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/AudioSystem.h>
#include <system/audio.h>
#include <utils/Errors.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>
#include <utils/String16.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace android {

class RecordBuffer;

// One stream of 16-bit sound from a microphone. Which microphone an audio source means was chosen
// before the record was made, see oxa/host/Microphones.h.
//
// Between the microphone and the client lies a ring; what does not fit is dropped. A microphone
// that fails gives nothing more: the fault listeners are told.
//
// All calls are thread-safe. Memory that is passed stays the caller's.
class AudioRecord : public AudioSystem::AudioDeviceCallback {
  public:
    enum event_type {
        EVENT_MORE_DATA = 0,  // info: Buffer*
        EVENT_OVERRUN = 1,    // info: null
        EVENT_MARKER = 2,
        EVENT_NEW_POS = 3,
        EVENT_NEW_IAUDIORECORD = 4,
    };

    enum transfer_type {
        TRANSFER_DEFAULT = 0,  // TRANSFER_CALLBACK with a callback, else TRANSFER_SYNC
        TRANSFER_CALLBACK = 1,
        TRANSFER_OBTAIN = 2,
        TRANSFER_SYNC = 3,  // read()
    };

    // What EVENT_MORE_DATA brings. `raw` is the record's and valid during the call. The callback
    // sets `size` to the bytes that it has consumed; the rest is offered again.
    class Buffer {
      public:
        size_t frameCount = 0;
        size_t size = 0;
        union {
            void* raw = nullptr;
            int16_t* i16;
            int8_t* i8;
        };
        uint32_t sequence = 0;  // counts the calls
    };

    // Called on the record's own thread "AudioRecord", only while the record is active; a call that
    // is running when stop() returns may still finish. It may stop the record, and must not drop
    // the last reference to it. EVENT_MORE_DATA and EVENT_OVERRUN are the events there are, the
    // latter once for each time that sound was dropped.
    typedef void (*callback_t)(int event, void* user, void* info);

    // Opens the microphone, which takes a moment; errors are told by initCheck(). The ring has at
    // least `frameCount` frames. `notificationFrames` come with each EVENT_MORE_DATA; 0: half of
    // getMinFrameCount(). The arguments after `transferType` have no meaning here.
    AudioRecord(audio_source_t inputSource, uint32_t sampleRate, audio_format_t format,
                audio_channel_mask_t channelMask, const String16& opPackageName,
                size_t frameCount = 0, callback_t cbf = nullptr, void* user = nullptr,
                uint32_t notificationFrames = 0, audio_session_t sessionId = AUDIO_SESSION_ALLOCATE,
                transfer_type transferType = TRANSFER_DEFAULT,
                audio_input_flags_t flags = AUDIO_INPUT_FLAG_NONE, uid_t uid = AUDIO_UID_INVALID,
                pid_t pid = -1, const audio_attributes_t* pAttributes = nullptr,
                audio_port_handle_t selectedDeviceId = AUDIO_PORT_HANDLE_NONE,
                audio_microphone_direction_t selectedMicDirection = MIC_DIRECTION_UNSPECIFIED,
                float selectedMicFieldDimension = MIC_FIELD_DIMENSION_DEFAULT);

    // The least that a record needs, 40 ms. BAD_VALUE for null and for what the constructor refuses
    // with BAD_VALUE.
    static status_t getMinFrameCount(size_t* frameCount, uint32_t sampleRate, audio_format_t format,
                                     audio_channel_mask_t channelMask);

    // OK; BAD_VALUE for a wrong audio source, sample rate (8000 to 192000), format (PCM of 8 to
    // 32 bits, or float) or channel mask (inputs of 1 to 8 channels), or a callback mode without
    // callback; INVALID_OPERATION for TRANSFER_OBTAIN; NO_INIT when the microphone is missing.
    status_t initCheck() const { return mStatus; }

    // Sound that was captured before is dropped. OK also when active; initCheck()'s error; NO_INIT
    // when the microphone is not there any more. Does not wait for an event.
    status_t start(AudioSystem::sync_event_t event = AudioSystem::SYNC_EVENT_NONE,
                   audio_session_t triggerSession = AUDIO_SESSION_NONE);

    // Harmless when stopped. What was captured can still be read().
    void stop();

    // True unless active.
    bool stopped() const { return !mActive; }

    // Gives whole frames and returns their size in bytes. `blocking`: waits until all that was
    // asked for is there, the record is stopped or the microphone has failed. WOULD_BLOCK when
    // nothing is there and the microphone works, DEAD_OBJECT when it has failed, BAD_VALUE for a
    // null buffer with a size, INVALID_OPERATION with a callback, initCheck()'s error.
    ssize_t read(void* buffer, size_t size, bool blocking = true);

    size_t frameCount() const { return mFrameCount; }
    size_t frameSize() const { return mFrameSize; }
    uint32_t channelCount() const { return mChannelCount; }
    uint32_t getSampleRate() const { return mSampleRate; }
    audio_source_t inputSource() const { return mInputSource; }
    audio_session_t getSessionId() const { return mSessionId; }

    // AudioDeviceCallback
    void onAudioDeviceUpdate(audio_io_handle_t /*audioIo*/,
                             audio_port_handle_t /*deviceId*/) override {}

  protected:
    ~AudioRecord() override;

  private:
    class Input;

    AudioRecord(const AudioRecord&) = delete;
    AudioRecord& operator=(const AudioRecord&) = delete;

    status_t open(audio_format_t format, audio_channel_mask_t channelMask, size_t frameCount,
                  uint32_t notificationFrames, transfer_type transferType);
    bool openInput();
    void runCallback();
    void offerData(Buffer* offer, int16_t* samples, void* pcm);

    const audio_source_t mInputSource;
    const callback_t mCallback;
    void* const mUser;
    // Constant after construction.
    status_t mStatus = NO_INIT;
    const uint32_t mSampleRate;
    audio_format_t mFormat = AUDIO_FORMAT_PCM_16_BIT;
    uint32_t mChannelCount = 0;
    size_t mFrameSize = 0;  // bytes; of all channels
    size_t mFrameCount = 0;
    size_t mNotificationFrames = 0;
    audio_session_t mSessionId = AUDIO_SESSION_NONE;
    bool mCallbackMode = false;

    Mutex mTransitionLock;  // held through start and stop
    std::atomic<bool> mActive{false};
    std::unique_ptr<RecordBuffer> mBuffer;  // null only when mStatus is not OK
    std::unique_ptr<Input> mInput;          // after mBuffer, which it fills; the transition's
    std::thread mCallbackThread;
};

}  // namespace android
