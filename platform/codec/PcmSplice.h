// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace android {

// Makes the places where pieces of interleaved 16-bit PCM meet inaudible. An end goes on as its own
// mirror image while it fades, so that there is no edge; a beginning comes in the same way.
class PcmSplice {
  public:
    void start(int channels, int sampleRate);

    // Sound that has gone out: the next call works on its end.
    void remember(const int16_t* pcm, int frames);

    // The edges of a gap of `frames` before `next`: one half for its begin and one for its end,
    // with silence between them as long as they are shorter than the gap.
    std::vector<int16_t> bridge(int64_t frames, const int16_t* next, int nextFrames) const;
    // What the first frames of `pcm` become right behind the end of what was remembered.
    std::vector<int16_t> join(const int16_t* pcm, int frames) const;

  private:
    void addFadingEnd(std::vector<float>* mix, int64_t fade) const;

    size_t mChannels = 1;
    int mFadeFrames = 0;
    std::vector<int16_t> mEnd;  // at most mFadeFrames frames
};

}  // namespace android
