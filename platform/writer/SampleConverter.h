// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/MediaBufferBase.h>
#include <media/stagefright/foundation/ABase.h>

#include "writer/TrackDescription.h"

namespace android {

// Whether the number under this key is there, and not 0.
bool isSet(MediaBufferBase* buffer, uint32_t key);

// Turns the buffers of one track into packets for a muxer. Not locked.
class SampleConverter {
  public:
    // `track` must outlive the converter.
    SampleConverter(const TrackDescription& track, int streamIndex, AvcForm form);

    // A copy of the sample, with times in the track's base that always rise.
    // Null for what is not written: empty buffers, codec configuration (the track's description
    // has it), and pictures before the first sync frame. A buffer without kKeyTime is fatal.
    AvPacketOwner convert(MediaBufferBase* buffer);

    int streamIndex() const { return mStreamIndex; }

  private:
    DISALLOW_EVIL_CONSTRUCTORS(SampleConverter);

    bool isWanted(MediaBufferBase* buffer);
    AvPacketOwner copyData(const uint8_t* data, size_t size) const;
    void setTimes(MediaBufferBase* buffer, AVPacket* packet);

    const TrackDescription& mTrack;
    const int mStreamIndex;
    const AvcForm mForm;
    bool mSyncSeen = false;
    int64_t mLastDecodingTime = AV_NOPTS_VALUE;
    int64_t mDuration;
};

}  // namespace android
