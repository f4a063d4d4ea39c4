// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "ffmpeg/AvOwner.h"

namespace android {

// Makes interlaced pictures of progressive ones: the upper field is the former picture's, the lower
// one the present's. Thread-bound.
class FieldWeaver {
  public:
    // Puts the woven picture, which is marked as interlaced, in the place of `frame`. The first one
    // of a size and format has no former one, and stays. 0 or a negative AVERROR.
    int weave(AVFrame* frame);
    // What comes next has no former picture.
    void forget();

  private:
    bool continues(const AVFrame& frame) const;

    const AvFrameOwner mFormer{av_frame_alloc()};
};

}  // namespace android
