// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/InputChoice.h>
#include <stddef.h>
#include <stdint.h>

#include <optional>

extern "C" {
#include <libavformat/avformat.h>
}

namespace android {

// The part of a file that is read, on the clock of its tracks, which counts from the part's start.
class InputWindow {
  public:
    explicit InputWindow(const oxa::host::InputChoice& choice);

    // Microseconds from the file's beginning.
    int64_t startUs() const { return mStartUs; }
    // Microseconds from the start; a time that no sample has where it is the file's own.
    int64_t endUs() const { return mEndUs; }
    bool isWhole() const { return mStartUs == 0 && !mHasEnd; }

    // Whether the file is to be sought to the start: its times after that are those before.
    bool isSoughtIn(const AVFormatContext& context) const;
    // How much of a track of this length is in it; 0: nothing, or not known.
    int64_t lengthOf(int64_t durationUs) const;

  private:
    int64_t mStartUs;
    int64_t mEndUs;
    bool mHasEnd;
};

// Tells when a track has come to the window's end. Pictures come in the order of decoding: behind
// one that is late enough earlier ones may follow, but none that is decoded too late as well.
class WindowEnd {
  public:
    // The next sample of the track, and when it is decoded where that is known. True when neither
    // it nor any that follows is needed. One picture is let pass: it ends the one before it.
    bool passes(const InputWindow& window, int64_t timeUs, std::optional<int64_t> decodedUs,
                bool isPicture);
    void reset() { mLateSamples = 0; }

  private:
    int mLateSamples = 0;  // in a row
};

}  // namespace android
