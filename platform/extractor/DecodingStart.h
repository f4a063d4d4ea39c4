// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>

#include <optional>

#include "ffmpeg/SampleForm.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace android {

// Finds out whether all of a track that is shown from a time on can be decoded by what is read from
// some place on. It can behind a sync sample; but one that only begins to refresh the picture bit
// by bit is followed by pictures that are not whole yet, which decoders leave out.
class DecodingStart {
  public:
    // `form` outlives the object. The time is the stream's own, in microseconds.
    DecodingStart(const AVStream& stream, const SampleForm& form, int64_t timeUs);

    // The track's next sample from that place on. Nothing when it takes others to tell.
    std::optional<bool> take(const AVPacket& packet);

  private:
    static constexpr uint32_t kNever = UINT32_MAX;

    std::optional<int64_t> shownAtUs(const AVPacket& packet) const;
    void countToWhole(const AVPacket& packet, bool isSync);

    const SampleForm& mForm;
    const AVRational mTimeBase;
    const bool mIsPicture;
    const bool mIsReordered;
    const bool mIsAvc;
    const int64_t mTimeUs;
    // The first refresh does not count unless it is whole at once: with nothing decoded before it,
    // a decoder loses its first picture and with that what the others take from it.
    bool mHasBegun = false;
    uint32_t mToWhole = kNever;  // so many pictures that others refer to
};

}  // namespace android
