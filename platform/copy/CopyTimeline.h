// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>

#include <optional>

#include "copy/CopyTrack.h"

namespace android {

// Where the samples of parts belong in the one file that is made of them. Not locked.
class CopyTimeline {
  public:
    // What the next part has.
    struct Part {
        AVRational bases[kCopyKinds];
        bool hasPictures;
        int64_t firstPicture;  // in its base
        bool hasOwnSound;      // otherwise its sound, if there is any, is that of the first part
    };

    // `hidesBegin`: the file can hide what is shown before 0; otherwise it begins with that.
    CopyTimeline(bool hidesBegin, AVRational pictureBase, AVRational soundBase);

    // The pictures of a part follow at the end of the last ones, as far apart as others. One whose
    // first picture comes later than that by more than a picture lasts (its sound begins earlier)
    // keeps that pause. The first part is in its own time.
    void beginPart(const Part& part);

    // Moves a sample of the part to its place, in the file's base; false when it has none. Sound of
    // a part that follows keeps its place to within half a frame, so that it goes on without a gap;
    // what is in front of the part, such as the priming of its encoder, has none.
    bool place(AVPacket* packet);

    AVRational base(CopyKind kind) const { return mTracks[kind].base; }
    // When the sound of the part begins, in the file's base.
    int64_t soundBegin() const { return mTracks[kCopySound].shift; }
    // The sound from that time on was dropped again.
    void takeBackSound(int64_t time);

  private:
    struct Track {
        AVRational base;
        AVRational partBase = {1, 1};
        int64_t shift = 0;     // of the part
        int64_t end = 0;       // of what was placed
        int64_t duration = 0;  // of a sample
        int64_t lastDuration = 0;
        int64_t lastDecodingTime = AV_NOPTS_VALUE;
        bool isJoined = true;  // nothing is to be done where the part begins
    };

    int64_t early(int64_t firstPicture) const;
    bool join(Track* track, AVPacket* packet);

    const bool mHidesBegin;
    Track mTracks[kCopyKinds];
    bool mIsFirst = true;
};

}  // namespace android
