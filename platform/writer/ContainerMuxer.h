// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <vector>

#include "writer/TrackDescription.h"
#include "writer/WriterOutput.h"

namespace android {

// One container format behind a ContainerWriter. Calls come one at a time; those that return int
// answer 0 or an AVERROR.
class ContainerMuxer {
  public:
    virtual ~ContainerMuxer() = default;

    // One for the next file of the same recording: with what was set on this one, not open.
    virtual std::unique_ptr<ContainerMuxer> another() const = 0;

    // Whether a track of this type can be in a file with these others.
    virtual bool accepts(const char* mime,
                         const std::vector<std::unique_ptr<TrackDescription>>& others) const = 0;
    virtual AvcForm avcForm() const = 0;

    // `output` outlives the muxer. `rotation`: clockwise degrees for the pictures.
    virtual int open(WriterOutput* output,
                     const std::vector<std::unique_ptr<TrackDescription>>& tracks,
                     int rotation) = 0;

    // Leaves the packet to the caller; its times, which are in the track's base and rise within a
    // track, may have changed. Samples of all tracks come in the order of their times.
    virtual int write(AVPacket* packet) = 0;

    // Before finish(): when the last sample of a track ends, in the track's base. Formats that have
    // no place for it do not care.
    virtual void setEnd(int /*track*/, int64_t /*time*/) {}

    // Writes what is left, also after write() failed: what has been written is to be playable.
    virtual int finish() = 0;
};

}  // namespace android
