// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "extractor/ProgramClock.h"

#include <algorithm>
#include <cstdlib>

namespace android {

namespace {

constexpr int64_t kMaxStepBackUs = 100000;
constexpr int64_t kMaxReorderedBackUs = 1000000;
constexpr int64_t kMaxPictureUs = 60000000;  // what is told to last longer is damaged
constexpr int64_t kMaxStepAheadUs = 500000;  // further ahead of all tracks is looked into
constexpr int64_t kMaxDelayUs = 4000000;  // between the tracks of one moment, in the file's order
constexpr int64_t kMaxOverlapUs = 2000000;
constexpr int64_t kMaxStepUs = INT64_C(86400000000);  // so that sums of many stay countable
constexpr int64_t kMaxPositionStepUs = 1000000;
constexpr int64_t kMinMaxReorderUs = 10000000;
constexpr int kEnoughPackets = 2;
constexpr int kMostReordered = 16;  // pictures in front of which one is decoded
constexpr int kMaxPacketsSeen = 256;
constexpr size_t kMaxAhead = 1024;

// A time is on the line that it is nearer to; in between it is on none.
bool isNearer(int64_t distanceUs, int64_t otherUs) {
    return std::llabs(distanceUs) < std::llabs(otherUs) / 2;
}

}  // namespace

void ProgramClock::reset(int64_t beginUs, int64_t longestPauseUs) {
    *this = ProgramClock();
    mLongestPauseUs = longestPauseUs;
    mAnchored = beginUs != kNoTime;
    if (mAnchored) mStartUs = mPositionUs = beginUs;
}

bool ProgramClock::pop(bool last, Place* place) {
    if (mAhead.empty()) return false;
    const Packet packet = mAhead.front();
    Stream& stream = mStreams[packet.stream];
    *place = Place();
    if (std::llabs(packet.reorderUs) > std::max(kMinMaxReorderUs, 8 * stream.longestStepUs)) {
        const bool isLate = packet.reorderUs > 0;
        const bool isShown = isLate && (mAhead.size() >= kMaxAhead || isReached(packet));
        const bool isKnown = isShown || last || countAhead(packet.stream) > kMostReordered;
        if (isLate && !isKnown) return false;
        place->isReorderWild = !isShown;
    }
    if (packet.timeUs == kNoTime) {
        place->shiftUs = stream.shiftUs();
        stream.nextUs += packet.durationUs;
    } else if (!accept(packet, place)) {
        const Outlook outlook = lookAhead(packet);
        const Verdict verdict = judge(packet, last, outlook);
        if (verdict == Verdict::kUnknown) return false;
        settle(packet, verdict, outlook, place);
    }
    mAhead.pop_front();
    return true;
}

// Whether the decoding soon comes to where a packet is shown, as it does behind a pause.
bool ProgramClock::isReached(const Packet& packet) const {
    const int64_t shownUs = packet.timeUs + packet.reorderUs;
    int seen = 0;
    for (const Packet& next : mAhead) {
        if (next.stream != packet.stream || next.timeUs == kNoTime) continue;
        if (std::llabs(next.timeUs - shownUs) <= kMaxReorderedBackUs) return true;
        if (seen++ > kMostReordered) break;
    }
    return false;
}

bool ProgramClock::accept(const Packet& packet, Place* place) {
    Stream& stream = mStreams[packet.stream];
    bool smooth;
    if (!stream.started) {
        begin(&stream);
        const int64_t timeUs = packet.timeUs + stream.shiftUs();
        smooth = !mAnchored ||
                 (timeUs >= mStartUs - kMaxPauseUs && timeUs <= mPositionUs + kMaxPauseUs);
    } else {
        // Packets that are written with a delay still belong in front of a jump; after a while only
        // those without any gap do.
        const int64_t aheadUs = packet.timeUs + stream.shiftUs() - stream.nextUs;
        const bool isLate = mPositionUs - mJumpUs > kMaxDelayUs;
        if (isLate && std::llabs(aheadUs) > kMaxStepBackUs) stream.baseUs = mShiftUs;
        smooth = isSmooth(stream, packet, stream.shiftUs());
    }
    if (!smooth && !adoptShift(&stream, packet)) return false;
    this->place(&stream, packet, stream.shiftUs(), place);
    return true;
}

// A stream without packets yet is expected to be where the others are.
void ProgramClock::begin(Stream* stream) const {
    stream->baseUs = mShiftUs;
    stream->nextUs = mPositionUs;
    stream->lastUs = mPositionUs;
}

// How far a packet's time may be from the one that is expected because pictures are decoded early.
int64_t ProgramClock::reorderedUs(const Stream& stream, const Packet& packet) {
    if (packet.ordered) return 0;
    constexpr int64_t kDepth = kMostReordered + 1;
    return packet.durationUs > 0 ? kDepth * std::min(packet.durationUs, kMaxPictureUs)
                                 : std::min(kDepth * stream.stepUs, kMaxPauseUs);
}

int64_t ProgramClock::mostBackUs(const Stream& stream, const Packet& packet) {
    if (packet.ordered) return kMaxStepBackUs;
    return std::max(kMaxReorderedBackUs, reorderedUs(stream, packet));
}

// A picture behind a pause is decoded in front of the last ones before it and those within it.
bool ProgramClock::isOfBeforePause(const Stream& stream, const Packet& packet, int64_t shiftUs) {
    const int64_t timeUs = packet.timeUs + shiftUs;
    return stream.mayBeEarly > 0 && timeUs < stream.nextUs &&
           timeUs >= stream.beforePauseUs - mostBackUs(stream, packet);
}

bool ProgramClock::isSmooth(const Stream& stream, const Packet& packet, int64_t shiftUs) const {
    const int64_t timeUs = packet.timeUs + shiftUs;
    const int64_t aheadUs = timeUs - stream.nextUs;
    if (aheadUs < 0) {
        // A time that rises is no step back, however long the last packet should have lasted.
        return timeUs >= stream.lastUs || -aheadUs <= mostBackUs(stream, packet) ||
               isOfBeforePause(stream, packet, shiftUs);
    }
    const int64_t reorderedUs = ProgramClock::reorderedUs(stream, packet);
    return aheadUs <= std::max({kMaxStepAheadUs, 2 * stream.stepUs, reorderedUs}) ||
           timeUs <= std::max(mPositionUs + kMaxStepAheadUs, stream.shownUs);
}

bool ProgramClock::fits(const Stream& stream, const Packet& packet, int64_t shiftUs) const {
    return (stream.started && isSmooth(stream, packet, shiftUs)) ||
           std::llabs(packet.timeUs + shiftUs - mPositionUs) <= kMaxDelayUs;
}

// The other streams may have found before where the packet belongs.
bool ProgramClock::adoptShift(Stream* stream, const Packet& packet) const {
    for (int64_t extraUs : {stream->extraUs, int64_t{0}}) {
        if (mShiftUs + extraUs == stream->shiftUs()) continue;
        if (!fits(*stream, packet, mShiftUs + extraUs)) continue;
        stream->baseUs = mShiftUs;
        stream->extraUs = extraUs;
        return true;
    }
    for (const auto& [index, other] : mStreams) {
        if (other.shiftUs() == stream->shiftUs()) continue;
        if (!fits(*stream, packet, other.shiftUs())) continue;
        stream->baseUs = other.baseUs;
        stream->extraUs = other.extraUs;
        return true;
    }
    return false;
}

ProgramClock::Outlook ProgramClock::lookAhead(const Packet& packet) const {
    const Stream& stream = mStreams.at(packet.stream);
    const int64_t stepUs = packet.timeUs + stream.shiftUs() - stream.nextUs;
    Outlook outlook;
    int64_t lineUs = packet.timeUs;  // of packets that go on from this one
    int64_t lastUs = packet.timeUs;
    for (const Packet& next : mAhead) {
        if (next.stream != packet.stream || next.timeUs == kNoTime) continue;
        if (outlook.seen++ > 0) {
            const int64_t newUs = next.timeUs - lineUs;
            noteReturn(packet, next, lineUs, stepUs, &outlook);
            if (outlook.goesBoth || outlook.seenBehindReturn == kMostReordered) break;
            if (isNearer(newUs, newUs + stepUs)) {
                ++outlook.stays;
                outlook.aheadUs = next.timeUs - packet.timeUs;
            }
            const int64_t nextStepUs = std::min(next.timeUs - lastUs, kMaxStepUs);
            outlook.longestStepUs = std::max(outlook.longestStepUs, nextStepUs);
            lastUs = next.timeUs;
        }
        lineUs += next.durationUs > 0 ? next.durationUs : stream.stepUs;
    }
    return outlook;
}

// Whether `next`, expected at `lineUs` if the stream goes on from `packet`, is where it was before
// that, or what follows one that is.
void ProgramClock::noteReturn(const Packet& packet, const Packet& next, int64_t lineUs,
                              int64_t stepUs, Outlook* outlook) const {
    const int64_t newUs = next.timeUs - lineUs;
    const int64_t oldUs = newUs + stepUs;
    if (outlook->returns) {
        outlook->goesBoth = isNearer(newUs, oldUs) || next.timeUs >= packet.timeUs;
        ++outlook->seenBehindReturn;
    } else if (isNearer(oldUs, newUs) && std::llabs(oldUs) <= kMaxPauseUs) {
        const bool mayGoBoth = !packet.ordered && mStreams.at(packet.stream).started && stepUs > 0;
        outlook->returns = true;
        outlook->beginUs = earliestOf(next) - (lineUs - packet.timeUs);
        // Where it cannot go both ways nothing behind it says more.
        outlook->seenBehindReturn = mayGoBoth ? 0 : kMostReordered;
    }
}

int ProgramClock::countAhead(int stream) const {
    return static_cast<int>(std::count_if(mAhead.begin(), mAhead.end(), [&](const Packet& packet) {
        return packet.stream == stream && packet.timeUs != kNoTime;
    }));
}

// The earliest time of a packet and those behind it in front of which it may have to be decoded.
int64_t ProgramClock::earliestOf(const Packet& packet) const {
    int64_t earliestUs = packet.timeUs;
    int seen = 0;
    for (const Packet& next : mAhead) {
        if (packet.ordered || seen > kMostReordered) break;
        if (next.stream != packet.stream || next.timeUs == kNoTime) continue;
        if (packet.timeUs - next.timeUs <= kMaxReorderedBackUs) {
            earliestUs = std::min(earliestUs, next.timeUs);
        }
        ++seen;
    }
    return earliestUs;
}

ProgramClock::Verdict ProgramClock::judge(const Packet& packet, bool last,
                                          const Outlook& outlook) const {
    const bool full = last || mAhead.size() >= kMaxAhead || outlook.seen >= kMaxPacketsSeen;
    if (outlook.goesBoth) return Verdict::kPause;
    if (outlook.returns) {
        if (outlook.seenBehindReturn < kMostReordered) {
            // The others alone go on.
            if (mAhead.size() >= kMaxAhead) return Verdict::kPause;
            if (!full) return Verdict::kUnknown;
        }
        const bool isPlaceKnown = full || mStreams.at(packet.stream).started ||
                                  countAhead(packet.stream) > kMostReordered;
        return isPlaceKnown ? Verdict::kWild : Verdict::kUnknown;
    }
    if (outlook.stays < kEnoughPackets && !full) return Verdict::kUnknown;
    if (outlook.stays == 0 && isAnyActiveBut(packet.stream)) return Verdict::kAlone;
    return compareOthers(packet, full || outlook.aheadUs >= kMaxDelayUs);
}

// Whether another stream makes the same step; `full`: there is no use in waiting for it.
ProgramClock::Verdict ProgramClock::compareOthers(const Packet& packet, bool full) const {
    const Stream& stream = mStreams.at(packet.stream);
    const int64_t stepUs = packet.timeUs + stream.shiftUs() - stream.nextUs;
    std::map<int, int64_t> lines;  // where the others' next packets are expected
    int64_t passedUs = 0;
    for (const Packet& next : mAhead) {
        if (next.stream == packet.stream || next.timeUs == kNoTime) continue;
        const auto known = mStreams.find(next.stream);
        if (known == mStreams.end() || !known->second.started) continue;
        const Stream& other = known->second;
        int64_t& lineUs = lines.try_emplace(next.stream, other.nextUs).first->second;
        const int64_t aheadUs = next.timeUs + other.shiftUs() - lineUs;
        if (isNearer(aheadUs - stepUs, aheadUs)) return Verdict::kTogether;
        lineUs += next.durationUs > 0 ? next.durationUs : other.stepUs;
        passedUs = std::max(passedUs, lineUs - other.nextUs);
    }
    if (lines.empty() && (full || !isAnyActiveBut(packet.stream))) return Verdict::kTogether;
    return full || passedUs >= kMaxDelayUs ? Verdict::kAlone : Verdict::kUnknown;
}

bool ProgramClock::isAnyActiveBut(int stream) const {
    return std::any_of(mStreams.begin(), mStreams.end(), [&](const auto& entry) {
        return entry.first != stream && entry.second.started &&
               entry.second.nextUs >= mPositionUs - kMaxPauseUs;
    });
}

void ProgramClock::settle(const Packet& packet, Verdict verdict, const Outlook& outlook,
                          Place* place) {
    Stream& stream = mStreams[packet.stream];
    const int64_t stepUs = packet.timeUs + stream.shiftUs() - stream.nextUs;
    const bool isAlone = !isAnyActiveBut(packet.stream);
    int64_t maxPauseUs = isAlone || verdict != Verdict::kTogether ? mLongestPauseUs : kMaxPauseUs;
    // Where there are but slow pictures, what lasts long is no jump.
    if (isAlone) {
        maxPauseUs = std::max({maxPauseUs, 4 * stream.stepUs, 4 * outlook.longestStepUs});
    }
    const bool isPause = verdict == Verdict::kPause || (stepUs >= 0 && stepUs <= maxPauseUs);
    int64_t shiftUs = stream.shiftUs();
    place->isWild = verdict == Verdict::kWild && stream.started;
    if (place->isWild) {
        shiftUs -= stepUs;
    } else if (verdict == Verdict::kWild) {
        shiftUs += outlook.beginUs - packet.timeUs;
    } else if (verdict == Verdict::kTogether && !isPause) {
        stream.baseUs -= stepUs - (packet.timeUs - earliestOf(packet));
        mShiftUs = stream.baseUs;
        mJumpUs = stream.nextUs;
        shiftUs = stream.shiftUs();
    } else if (!isPause && (stepUs > 0 || stepUs < -kMaxOverlapUs)) {
        stream.extraUs -= stepUs;
        shiftUs = stream.shiftUs();
    }
    this->place(&stream, packet, shiftUs, place);
}

void ProgramClock::place(Stream* stream, const Packet& packet, int64_t shiftUs, Place* place) {
    const int64_t timeUs = packet.timeUs + shiftUs;
    place->shiftUs = shiftUs;
    if (!place->isReorderWild) {
        const int64_t shownUs = timeUs + packet.reorderUs;
        stream->shownUs = stream->started ? std::max(stream->shownUs, shownUs) : shownUs;
    }
    const bool isEarly = isOfBeforePause(*stream, packet, shiftUs);
    stream->mayBeEarly = std::max(stream->mayBeEarly - 1, 0);
    if (!isEarly) advance(stream, packet, timeUs);
}

void ProgramClock::advance(Stream* stream, const Packet& packet, int64_t timeUs) {
    if (!packet.ordered && stream->started &&
        timeUs - stream->nextUs > mostBackUs(*stream, packet)) {
        stream->mayBeEarly = kMostReordered;
        stream->beforePauseUs = stream->nextUs;
    }
    if (stream->started && timeUs > stream->lastUs) {
        stream->stepUs = std::min(timeUs - stream->lastUs, kMaxStepUs);
        stream->longestStepUs = std::max(stream->longestStepUs, stream->stepUs);
    }
    const int64_t lastsUs = packet.durationUs > 0 ? packet.durationUs : stream->stepUs;
    const bool wasStarted = stream->started;
    stream->started = true;
    stream->lastUs = timeUs;
    // Behind a picture that was decoded early come those that are shown before it.
    const int64_t earlyUs = stream->nextUs - (timeUs + lastsUs);
    const bool isReordered =
            !packet.ordered && earlyUs > 0 && earlyUs <= mostBackUs(*stream, packet);
    if (!wasStarted || !isReordered) stream->nextUs = timeUs + lastsUs;
    if (!mAnchored) mStartUs = mPositionUs = timeUs;
    mAnchored = true;
    mStartUs = std::min(mStartUs, timeUs);
    mPositionUs = std::max(mPositionUs, timeUs + std::min(lastsUs, kMaxPositionStepUs));
}

}  // namespace android
