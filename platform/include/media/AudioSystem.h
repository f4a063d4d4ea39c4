// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <system/audio.h>
#include <utils/RefBase.h>

namespace android {

// What is common to all tracks and records. All calls are thread-safe and do not wait.
class AudioSystem {
  public:
    // Hears to which device a track or record is connected. Devices never change under them here,
    // so nothing is called.
    class AudioDeviceCallback : public virtual RefBase {
      public:
        ~AudioDeviceCallback() override = default;
        virtual void onAudioDeviceUpdate(audio_io_handle_t audioIo,
                                         audio_port_handle_t deviceId) = 0;
    };

    // What a record may wait for before it starts.
    enum sync_event_t {
        SYNC_EVENT_SAME = -1,
        SYNC_EVENT_NONE = 0,
        SYNC_EVENT_PRESENTATION_COMPLETE = 1,
    };

    // A positive id that was never handed out before in this process; AUDIO_UNIQUE_ID_ALLOCATE (0)
    // for an unknown use.
    static audio_unique_id_t newAudioUniqueId(audio_unique_id_use_t use);

    // The number under which a session's sound and pictures find their common clock, for the key
    // "audio-hw-sync". Every session that newAudioUniqueId() has handed out has one;
    // AUDIO_HW_SYNC_INVALID (0) for all other numbers.
    static audio_hw_sync_t getAudioHwSyncForSession(audio_session_t sessionId);

  private:
    AudioSystem() = delete;
};

}  // namespace android
