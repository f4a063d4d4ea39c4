// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/ABase.h>
#include <utils/Errors.h>

#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "copy/CopyTrack.h"
#include "copy/DecodingTimes.h"
#include "extractor/ContainerReader.h"

namespace android {

// One file of which the first picture and the first sound are copied, as far as the session's
// InputChoice leaves them: from the key frame at its start or before, to the last picture that is
// shown before the end, and those that are shown between such pictures and what they refer to.
// Times count from the first picture that is shown at the start or later. Not locked.
class CopySource {
  public:
    CopySource() = default;

    // Once. The descriptor stays the caller's. An error as NuMediaExtractor::setDataSource answers.
    // `keepsClock`: times count from where the file's own clock begins, if it has one (MP4), not
    // from its first sample.
    status_t open(int descriptor, int64_t size, bool pictures, bool sound, bool keepsClock);
    // Why it cannot be copied, for people; empty when it can.
    const std::string& refusal() const { return mRefusal; }

    // Of the longest track; 0: the file does not say.
    int64_t durationUs() const;
    const CopyTrack& track(CopyKind kind) const { return mTracks[kind]; }
    // The time of the first picture, in its track's base: before 0 it is not to be shown. Nothing
    // without pictures.
    std::optional<int64_t> firstPicture() const;
    // Whether the session has chosen a start.
    bool hasStart() const { return mHasStart; }
    // In the sound's base: there it begins; otherwise where it is heard from the start on.
    void beginSound(int64_t time) { mSoundBegin = time; }

    // The next sample in the order of the file. `stream_index` is its CopyKind; it has both times,
    // in its track's base. Null at the end, and when refusal() says why no more can be copied.
    AvPacketOwner next();

  private:
    DISALLOW_EVIL_CONSTRUCTORS(CopySource);

    void selectTracks(bool pictures, bool sound);
    void readToStart();
    void dropInFront(const AVPacket& sync);
    AvPacketOwner read();
    bool isMp4() const;
    int64_t startUs() const;
    void completeDuration(AVPacket* packet);
    void setTimes(AVPacket* packet);
    void setDecodingTime(AVPacket* packet);
    void hold(AvPacketOwner packet);
    bool fill();
    bool isLate(const AVPacket& packet) const;
    bool isHeard(const AVPacket& sound) const;
    int64_t origin(int kind) const;

    std::unique_ptr<ContainerReader> mReader;
    std::string mRefusal;
    CopyTrack mTracks[kCopyKinds];
    std::optional<size_t> mNumbers[kCopyKinds];  // in the reader
    // All times within the object count from the chosen start.
    int64_t mEndUs = INT64_MAX;
    bool mHasStart = false;
    bool mKeepsClock = false;
    int64_t mFirstShown = 0;                        // picture; 0 without a chosen start
    std::unique_ptr<DecodingTimes> mDecodingTimes;  // where the file has none
    int64_t mLastDecodingTime[kCopyKinds] = {AV_NOPTS_VALUE, AV_NOPTS_VALUE};
    int64_t mLastDuration[kCopyKinds] = {};
    int64_t mEmptyFront[kCopyKinds] = {};
    std::optional<int64_t> mFirstPicture;
    int64_t mLastPicture = INT64_MIN;  // the latest of those that are ready
    std::optional<int64_t> mSoundBegin;
    std::deque<AvPacketOwner> mReady;
    std::deque<AvPacketOwner> mLate;  // pictures behind the end: needed if an earlier one follows
};

}  // namespace android
