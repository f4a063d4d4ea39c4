// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "ffmpeg/AvOwner.h"

namespace android {

// The tracks of a copy, by their numbers in a packet.
enum CopyKind { kCopyPictures = 0, kCopySound = 1, kCopyKinds = 2 };

// What a muxer has to know of a track whose samples are copied.
struct CopyTrack {
    AvParametersOwner parameters;  // null: there is no such track
    AVRational timeBase = {1, 90000};
    AVRational pixelAspect = {0, 1};
    int disposition = 0;
    std::string displayMatrix;  // its bytes; empty: none

    bool isThere() const { return parameters != nullptr; }
};

// Of a stream, whose index in a container does not matter any more.
CopyTrack makeCopyTrack(const AVStream& stream);

// Why samples of this track cannot be copied, for people: "the sound is mp3, not AAC"; empty when
// they can.
std::string refusalOf(const CopyTrack& track);

// What a decoder of `first` would not take in `other`: "the picture is 640x360, not 1280x720";
// empty when it would take everything.
std::string differenceOf(const CopyTrack& other, const CopyTrack& first, CopyKind kind);

}  // namespace android
