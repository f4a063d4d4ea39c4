// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "copy/CopyTimeline.h"

#include <algorithm>

namespace android {

CopyTimeline::CopyTimeline(bool hidesBegin, AVRational pictureBase, AVRational soundBase)
    : mHidesBegin(hidesBegin) {
    mTracks[kCopyPictures].base = pictureBase;
    mTracks[kCopySound].base = soundBase;
}

void CopyTimeline::beginPart(const Part& part) {
    Track& pictures = mTracks[kCopyPictures];
    Track& sound = mTracks[kCopySound];
    pictures.partBase = part.bases[kCopyPictures];
    sound.partBase = part.bases[kCopySound];
    const int64_t first = av_rescale_q(part.firstPicture, pictures.partBase, pictures.base);
    if (mIsFirst) {
        pictures.shift = mHidesBegin ? 0 : -std::min<int64_t>(first, 0);
    } else if (part.hasPictures) {
        pictures.shift = pictures.end - early(first);
    }
    if (part.hasOwnSound || mIsFirst) {
        sound.shift = part.hasPictures || mIsFirst
                              ? av_rescale_q(pictures.shift, pictures.base, sound.base)
                              : sound.end;
        sound.isJoined = mIsFirst;
    }
    mIsFirst = false;
}

// By how much a part begins before the end of the last one, since its first picture comes so late.
int64_t CopyTimeline::early(int64_t firstPicture) const {
    const Track& pictures = mTracks[kCopyPictures];
    if (firstPicture > pictures.duration * 3 / 2) return 0;
    // The last picture may have been cut short where this part begins.
    const int64_t missing = std::max<int64_t>(0, pictures.duration - pictures.lastDuration);
    return firstPicture - std::clamp<int64_t>(firstPicture, 0, missing);
}

bool CopyTimeline::place(AVPacket* packet) {
    Track& track = mTracks[packet->stream_index];
    av_packet_rescale_ts(packet, track.partBase, track.base);
    track.duration = std::max(packet->duration, track.duration);
    if (!track.isJoined && !join(&track, packet)) return false;
    packet->pts += track.shift;
    packet->dts += track.shift;
    if (track.lastDecodingTime != AV_NOPTS_VALUE) {
        packet->dts = std::max(packet->dts, track.lastDecodingTime + 1);
    }
    packet->pts = std::max(packet->pts, packet->dts);
    track.lastDecodingTime = packet->dts;
    const bool isSound = packet->stream_index == kCopySound;
    const int64_t end = packet->pts + (isSound ? track.duration : packet->duration);
    if (end > track.end) track.lastDuration = packet->duration;
    track.end = std::max(track.end, end);
    return true;
}

void CopyTimeline::takeBackSound(int64_t time) {
    mTracks[kCopySound].end = time;
    mTracks[kCopySound].lastDecodingTime = time - 1;
}

// The first frame of sound that is not in front of the part, nor of what is there already.
bool CopyTimeline::join(Track* track, AVPacket* packet) {
    const int64_t half = track->duration / 2;
    const int64_t aheadOfEnd = packet->pts + track->shift - track->end;
    if (packet->pts < -half || aheadOfEnd < -half) return false;
    if (aheadOfEnd <= half) track->shift -= aheadOfEnd;
    track->isJoined = true;
    return true;
}

}  // namespace android
