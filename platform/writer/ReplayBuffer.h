// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/ABase.h>
#include <stdint.h>

#include <deque>
#include <memory>
#include <vector>

#include "ffmpeg/AvOwner.h"
#include "writer/TrackDescription.h"

namespace android {

// The last samples of a recording, which a file can begin with: from the last key frame of the
// leading track on that lies at least so far back. Not locked.
class ReplayBuffer {
  public:
    // `tracks` outlives this object.
    ReplayBuffer(const std::vector<std::unique_ptr<TrackDescription>>& tracks, int leader,
                 int64_t lengthUs);

    // Refers to the packet's bytes. Samples come in the order of their times.
    void add(const AVPacket& packet);
    // Begins with the key frame; empty before the first one. Sound before it may be among them.
    const std::deque<AvPacketOwner>& samples() const { return mSamples; }

  private:
    DISALLOW_EVIL_CONSTRUCTORS(ReplayBuffer);

    struct KeyFrame {
        uint64_t number;  // of the sample, counted from the first one that was kept
        int64_t timeUs;
    };

    const std::vector<std::unique_ptr<TrackDescription>>& mTracks;
    const int mLeader;
    const int64_t mLengthUs;
    std::deque<AvPacketOwner> mSamples;
    std::deque<KeyFrame> mKeyFrames;
    uint64_t mDropped = 0;
};

}  // namespace android
