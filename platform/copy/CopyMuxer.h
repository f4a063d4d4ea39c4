// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/ABase.h>

#include "copy/CopyTrack.h"
#include "writer/MuxerStream.h"
#include "writer/WriterOutput.h"

namespace android {

// Puts samples as they are into a container: an ordinary MP4 file, or a transport stream. Not
// locked. Calls that return int answer 0 or an AVERROR.
class CopyMuxer {
  public:
    // Duplicates the descriptor. MP4 needs one that can be sought.
    CopyMuxer(int descriptor, bool isMp4);
    // Finishes nothing.
    ~CopyMuxer() = default;

    // `pictures` and `sound`: null where there are none. The file says of itself what the session's
    // OutputTags say.
    int open(const CopyTrack* pictures, const CopyTrack* sound);
    // A sample of the track CopyKind, in its base; what comes is in the order of decoding times.
    // What is shown before 0 an MP4 file does not show.
    int write(AVPacket* packet);
    // What was written so far is whole then, and on the disk.
    int finish();

    WriterOutput& output() { return mOutput; }

  private:
    DISALLOW_EVIL_CONSTRUCTORS(CopyMuxer);

    int addStream(const CopyTrack& track, CopyKind kind, const std::string& language);
    int take(int64_t position, const uint8_t* data, int size);
    int result(int muxerResult) const;

    const bool mIsMp4;
    WriterOutput mOutput;
    int64_t mEnd = 0;  // of what was written
    MuxerStream mStream;
    AvMuxerOwner mMuxer;
    AVStream* mStreams[kCopyKinds] = {};
    AVRational mTimeBases[kCopyKinds] = {};
    bool mIsOpen = false;
};

}  // namespace android
