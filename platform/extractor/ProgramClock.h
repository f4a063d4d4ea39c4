// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>

#include <deque>
#include <map>

namespace android {

// The one timeline of the tracks that belong together: those of a file, or of one programme of a
// transport stream. Pieces whose clocks differ are joined, times that are wild are replaced. All
// tracks must be shown to it, in the order of the file, so that every reader of the file finds the
// same timeline. What is ordinary is decided at once; where a time departs from its track's, the
// packets behind it decide:
// - the track goes on as before: that one time was wild, and its packet goes where one is expected;
// - the track goes on in both places for a while, whose pictures are not in the order in which they
//   are shown: nothing was shown for that time, which is kept;
// - the other tracks depart as well, or there are none: the clock has jumped, and all tracks go on
//   from where they were; but a step forward of at most the longest pause is one and is kept;
// - the other tracks go on: a pause or a small overlap of this track is kept, what is more is a
//   clock of its own, which is set right for this track alone.
// Not locked. All times are in microseconds.
class ProgramClock {
  public:
    static constexpr int64_t kNoTime = INT64_MIN;
    // The longest pause where clocks do jump, and in a file that has but one.
    static constexpr int64_t kMaxPauseUs = 10000000;
    static constexpr int64_t kMaxPauseOfOneClockUs = INT64_C(3600000000);

    struct Packet {
        int stream;
        int64_t timeUs;         // of decoding; of presentation where `ordered` is not set
        int64_t durationUs;     // 0: not known
        bool ordered = true;    // the stream's times do not go back by themselves
        int64_t reorderUs = 0;  // from its decoding to its presentation
    };
    struct Place {
        int64_t shiftUs = 0;         // to be added to the packet's times
        bool isWild = false;         // they are near to its place, and no more
        bool isReorderWild = false;  // its time of presentation means nothing
    };

    // Forgets everything. The timeline begins at `beginUs`, or anywhere (kNoTime), as after a seek.
    void reset(int64_t beginUs, int64_t longestPauseUs = kMaxPauseUs);

    void push(const Packet& packet) { mAhead.push_back(packet); }
    // Where the oldest packet belongs that was pushed and not popped yet; false when only those
    // behind it can tell and have not been pushed. With `last` it always tells.
    bool pop(bool last, Place* place);

  private:
    struct Stream {
        bool started = false;
        int64_t baseUs = 0;   // the programme's shift, as far as the stream has come
        int64_t extraUs = 0;  // where it has a clock of its own
        int64_t nextUs = 0;   // where the next packet is expected, shifted
        int64_t lastUs = 0;   // the last packet, shifted
        int64_t shownUs = 0;  // the latest that is to be shown, shifted
        int64_t stepUs = 0;   // between the last two packets
        int64_t longestStepUs = 0;
        // Behind a pause: how many packets may still be of the time before it or within it.
        int mayBeEarly = 0;
        int64_t beforePauseUs = 0;

        int64_t shiftUs() const { return baseUs + extraUs; }
    };
    // What the packets behind the oldest one say of its stream.
    struct Outlook {
        bool returns = false;   // to where it was
        bool goesBoth = false;  // and then again to where the oldest one is
        int64_t beginUs = 0;    // then: where the oldest one belongs, in front of those that return
        int seen = 0;
        int seenBehindReturn = 0;
        int stays = 0;        // packets that go on from the oldest one
        int64_t aheadUs = 0;  // and how far they come
        int64_t longestStepUs = 0;
    };
    enum class Verdict { kUnknown, kWild, kPause, kAlone, kTogether };

    bool isReached(const Packet& packet) const;
    bool accept(const Packet& packet, Place* place);
    void begin(Stream* stream) const;
    static int64_t reorderedUs(const Stream& stream, const Packet& packet);
    static int64_t mostBackUs(const Stream& stream, const Packet& packet);
    static bool isOfBeforePause(const Stream& stream, const Packet& packet, int64_t shiftUs);
    bool isSmooth(const Stream& stream, const Packet& packet, int64_t shiftUs) const;
    bool fits(const Stream& stream, const Packet& packet, int64_t shiftUs) const;
    bool adoptShift(Stream* stream, const Packet& packet) const;

    Verdict judge(const Packet& packet, bool last, const Outlook& outlook) const;
    Outlook lookAhead(const Packet& packet) const;
    void noteReturn(const Packet& packet, const Packet& next, int64_t lineUs, int64_t stepUs,
                    Outlook* outlook) const;
    Verdict compareOthers(const Packet& packet, bool full) const;
    int countAhead(int stream) const;
    int64_t earliestOf(const Packet& packet) const;
    bool isAnyActiveBut(int stream) const;
    void settle(const Packet& packet, Verdict verdict, const Outlook& outlook, Place* place);
    void place(Stream* stream, const Packet& packet, int64_t shiftUs, Place* place);
    void advance(Stream* stream, const Packet& packet, int64_t timeUs);

    std::deque<Packet> mAhead;
    std::map<int, Stream> mStreams;
    int64_t mLongestPauseUs = kMaxPauseUs;
    bool mAnchored = false;   // it is known where the timeline begins
    int64_t mStartUs = 0;     // there, shifted
    int64_t mPositionUs = 0;  // how far the programme has come, shifted
    int64_t mShiftUs = 0;
    int64_t mJumpUs = 0;  // where the last jump was, shifted
};

}  // namespace android
