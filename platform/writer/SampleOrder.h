// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/ABase.h>
#include <stddef.h>
#include <stdint.h>

#include <deque>
#include <vector>

#include "ffmpeg/AvOwner.h"

namespace android {

// Brings the samples of all tracks into one order, that of their times, before they are written. A
// sample is held until every other track has come as far; so tracks that go on lie together in the
// file, however unevenly their encoders work. With samples that come without delays the order
// depends on nothing but their times.
//
// A track from which nothing comes holds the others for a limited time. It is taken to go on in
// real time, late by its patience: twice the longest time between two of its samples so far, at
// least half a second and at most one. After half a minute nobody waits any more. That is how a
// live source stalls, and what was held then is all that is lost when the process is killed. Where
// samples come faster than in real time, or ever later, nothing is live, and patience is as long as
// it may be.
//
// No more than 32 MiB are held: beyond that the earliest sample goes, whoever is late.
//
// `nowUs` is the monotonic clock's time of the call. Time counts only as far as it is seen to pass
// by samples that come, so that a process that stood still has not lost its patience. Not locked.
class SampleOrder {
  public:
    static constexpr size_t kMaxHeldBytes = size_t{32} << 20;

    // `ofFiles`: nobody loses patience, and the order depends on the samples alone.
    SampleOrder(const std::vector<AVRational>& timeBases, bool ofFiles);

    // Decoding times rise within a track.
    void add(AvPacketOwner packet, int64_t nowUs);
    // No more samples come from that track.
    void end(int track) { mTracks[track].ended = true; }
    // Whether no more is to be held.
    bool isFull() const { return mHeldBytes > kMaxHeldBytes; }
    // What may be written now; null while all wait.
    AvPacketOwner next();
    // Until `nowUs` the output was waited for: that is nobody's delay.
    void skipTime(int64_t nowUs) { mLastNowUs = nowUs; }

    // The end, in order and without waiting.
    AvPacketOwner nextOfRest();
    // Drops what lies behind the end of the track that has come least far; of a track without
    // samples that is everything.
    void cut();
    // Drops what is held of a track from that decoding time on, in the track's base. Whether there
    // was any, and then the time of the first one.
    bool dropFrom(int track, int64_t time, int64_t* firstTime);

  private:
    DISALLOW_EVIL_CONSTRUCTORS(SampleOrder);

    struct Track {
        AVRational timeBase;
        bool ended = false;
        bool begun = false;
        std::deque<AvPacketOwner> held;
        int64_t lastTimeUs = 0;  // of the last sample that came
        int64_t endUs = 0;       // its end
        int64_t clockUs = 0;     // when it came
        int64_t longestGapUs = 0;
        int64_t liveOffsetUs = 0;  // when it came, less its time; of the first sample
    };

    int64_t timeUs(const AVPacket& packet) const;
    Track* earliest();
    bool isDue(const Track& track) const;
    int64_t reachUs(const Track& track) const;
    AvPacketOwner take(Track* track);
    void advanceClock(int64_t nowUs);
    void drop(Track* track);

    const bool mOfFiles;
    std::deque<Track> mTracks;
    size_t mHeldBytes = 0;
    bool mBegun = false;
    bool mLive = true;         // as far as is known
    int64_t mFirstTimeUs = 0;  // of all samples
    int64_t mClockUs = 0;
    int64_t mLastNowUs = 0;
};

}  // namespace android
