// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/rational.h>
}

namespace android {

// Turns pictures of one size and format into others. Thread-bound. All results are 0 or a negative
// AVERROR.
class PictureFilter {
  public:
    virtual ~PictureFilter() = default;

    // Takes the frame's references over, also when it fails.
    virtual int push(AVFrame* frame) = 0;
    // No frame follows, the last one lasted until `endPts`.
    virtual int finish(int64_t endPts) = 0;
    // AVERROR(EAGAIN) or AVERROR_EOF: nothing more at the moment.
    virtual int pull(AVFrame* frame) = 0;
    // Of the frames that are pulled.
    virtual AVRational timeBase() const = 0;
};

}  // namespace android
