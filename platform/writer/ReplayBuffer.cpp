// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "writer/ReplayBuffer.h"

#include "ffmpeg/TimeBase.h"

namespace android {

ReplayBuffer::ReplayBuffer(const std::vector<std::unique_ptr<TrackDescription>>& tracks, int leader,
                           int64_t lengthUs)
    : mTracks(tracks), mLeader(leader), mLengthUs(lengthUs) {}

void ReplayBuffer::add(const AVPacket& packet) {
    const bool isLeader = packet.stream_index == mLeader;
    const bool mayBegin = isLeader && (packet.flags & AV_PKT_FLAG_KEY) != 0;
    if (mSamples.empty() && !mayBegin) return;
    const int64_t timeUs =
            av_rescale_q(packet.pts, mTracks[packet.stream_index]->timeBase, kMicroseconds);
    AvPacketOwner sample(av_packet_clone(&packet));
    if (sample == nullptr) return;
    if (mayBegin) mKeyFrames.push_back({mDropped + mSamples.size(), timeUs});
    mSamples.push_back(std::move(sample));
    while (mKeyFrames.size() > 1 && mKeyFrames[1].timeUs <= timeUs - mLengthUs) {
        mKeyFrames.pop_front();
        for (; mDropped < mKeyFrames.front().number; ++mDropped)
            mSamples.pop_front();
    }
}

}  // namespace android
