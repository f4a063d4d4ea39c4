// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "writer/SampleOrder.h"

#include <algorithm>
#include <utility>

#include "ffmpeg/TimeBase.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace android {

namespace {

constexpr int64_t kLeastPatienceUs = 500000;
constexpr int64_t kMostLivePatienceUs = 1000000;
constexpr int64_t kMostPatienceUs = 30000000;
constexpr int kPatienceInGaps = 2;
// More than a live source has ready when it begins.
constexpr int64_t kMaxLiveLeadUs = 1000000;
constexpr int64_t kMaxLiveLagUs = 2000000;
constexpr int64_t kMaxStepUs = 250000;

}  // namespace

SampleOrder::SampleOrder(const std::vector<AVRational>& timeBases, bool ofFiles)
    : mOfFiles(ofFiles) {
    for (const AVRational& timeBase : timeBases) {
        mTracks.emplace_back();
        mTracks.back().timeBase = timeBase;
    }
}

int64_t SampleOrder::timeUs(const AVPacket& packet) const {
    return av_rescale_q(packet.dts, mTracks[packet.stream_index].timeBase, kMicroseconds);
}

void SampleOrder::advanceClock(int64_t nowUs) {
    if (mBegun) mClockUs += std::clamp<int64_t>(nowUs - mLastNowUs, 0, kMaxStepUs);
    mLastNowUs = nowUs;
}

void SampleOrder::add(AvPacketOwner packet, int64_t nowUs) {
    advanceClock(nowUs);
    Track& track = mTracks[packet->stream_index];
    const int64_t sampleUs = timeUs(*packet);
    if (!mBegun) mFirstTimeUs = sampleUs;
    mBegun = true;
    if (!track.begun) track.liveOffsetUs = nowUs - sampleUs;
    track.begun = true;
    const int64_t leadUs = sampleUs + track.liveOffsetUs - nowUs;
    if (leadUs > kMaxLiveLeadUs || leadUs < -kMaxLiveLagUs) mLive = false;
    track.longestGapUs = std::max(track.longestGapUs, mClockUs - track.clockUs);
    track.clockUs = mClockUs;
    track.lastTimeUs = sampleUs;
    track.endUs = sampleUs + av_rescale_q(packet->duration, track.timeBase, kMicroseconds);
    mHeldBytes += packet->size;
    track.held.push_back(std::move(packet));
}

AvPacketOwner SampleOrder::next() {
    Track* const track = earliest();
    if (track == nullptr || (!isFull() && !isDue(*track))) return {};
    return take(track);
}

AvPacketOwner SampleOrder::nextOfRest() {
    Track* const track = earliest();
    return track != nullptr ? take(track) : AvPacketOwner();
}

SampleOrder::Track* SampleOrder::earliest() {
    Track* first = nullptr;
    for (Track& track : mTracks) {
        if (track.held.empty()) continue;
        if (first == nullptr || timeUs(*track.held.front()) < timeUs(*first->held.front())) {
            first = &track;
        }
    }
    return first;
}

bool SampleOrder::isDue(const Track& track) const {
    const int64_t sampleUs = timeUs(*track.held.front());
    return std::all_of(mTracks.begin(), mTracks.end(), [&](const Track& other) {
        return other.ended || !other.held.empty() || reachUs(other) >= sampleUs;
    });
}

// How far the track is taken to have come.
int64_t SampleOrder::reachUs(const Track& track) const {
    if (mOfFiles) return track.begun ? track.lastTimeUs : INT64_MIN;
    const int64_t silenceUs = mClockUs - track.clockUs;
    if (silenceUs >= kMostPatienceUs) return INT64_MAX;
    const int64_t patienceUs = mLive ? std::clamp(kPatienceInGaps * track.longestGapUs,
                                                  kLeastPatienceUs, kMostLivePatienceUs)
                                     : kMostPatienceUs;
    if (silenceUs > patienceUs) {
        return (track.begun ? track.lastTimeUs : mFirstTimeUs) + silenceUs - patienceUs;
    }
    return track.begun ? track.lastTimeUs : INT64_MIN;
}

AvPacketOwner SampleOrder::take(Track* track) {
    AvPacketOwner packet = std::move(track->held.front());
    track->held.pop_front();
    mHeldBytes -= packet->size;
    return packet;
}

void SampleOrder::drop(Track* track) {
    mHeldBytes -= track->held.back()->size;
    track->held.pop_back();
}

bool SampleOrder::dropFrom(int track, int64_t time, int64_t* firstTime) {
    bool isAny = false;
    std::deque<AvPacketOwner>& held = mTracks[track].held;
    while (!held.empty() && held.back()->dts >= time) {
        *firstTime = held.back()->dts;
        isAny = true;
        drop(&mTracks[track]);
    }
    return isAny;
}

void SampleOrder::cut() {
    int64_t endUs = INT64_MAX;
    for (const Track& track : mTracks)
        endUs = std::min(endUs, track.begun ? track.endUs : INT64_MIN);
    for (Track& track : mTracks) {
        while (!track.held.empty() && timeUs(*track.held.back()) >= endUs)
            drop(&track);
        if (track.held.empty()) continue;
        AVPacket* const last = track.held.back();
        const int64_t lengthUs = endUs - timeUs(*last);
        last->duration = std::min(
                last->duration,
                std::max<int64_t>(1, av_rescale_q(lengthUs, kMicroseconds, track.timeBase)));
    }
}

}  // namespace android
