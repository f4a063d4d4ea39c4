// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <string>

#include "ffmpeg/AvOwner.h"
#include "ffmpeg/PictureFilter.h"
#include "ffmpeg/TimeBase.h"

namespace android {

// What is to be done with pictures; 0 everywhere: nothing but making them 4:2:0 with 8 bits.
struct Conversion {
    int deinterlace = 0;      // 1: one picture for each frame, 2: one for each field
    bool mirrored = false;    // top line for bottom line, before the rotation
    int rotationDegrees = 0;  // clockwise: 90, 180, 270
    int width = 0;            // of the result, after rotation, with square samples
    int height = 0;
    int frameRate = 0;                            // pictures a second
    int sourceFrameRate = 0;                      // 0: not known
    AVPixelFormat pixelFormat = AV_PIX_FMT_NONE;  // NONE: whatever 8-bit 4:2:0 is nearest
};

// Converts pictures. Those in HDR (PQ, HLG) become BT.709 with their highlights toned down, which a
// format of 8 bits has no room for. One that needs nothing done goes through untouched; one that is
// only scaled goes through the scaler, for others filters are loaded. Either is made anew when
// size, format or range of the pictures change. Only frames that are marked as interlaced are
// de-interlaced: decoders mark reliably, and progressive ones keep their detail.
//
// Thread-bound. All results are 0 or a negative AVERROR.
class PictureConversion {
  public:
    PictureConversion();
    PictureConversion(const PictureConversion&) = delete;
    PictureConversion& operator=(const PictureConversion&) = delete;

    // Starts afresh. Frames that are pushed have their `pts` in `timeBase`.
    void start(const Conversion& conversion, AVRational timeBase);

    // Whether finish() and pulling the rest must come before this frame.
    bool isChange(const AVFrame& frame) const;
    // Takes the frame's references over, also when it fails and the frame is lost.
    int push(AVFrame* frame);
    // No frame follows, the last one lasted until `endPts`: lets go of what the filters hold back.
    int finish(int64_t endPts);
    // AVERROR(EAGAIN) or AVERROR_EOF: nothing more at the moment.
    int pull(AVFrame* frame);
    // Of the frame that was pulled last.
    AVRational timeBase() const { return mOutputTimeBase; }

  private:
    bool isScaled(const AVFrame& frame) const;
    bool needsFilters(const AVFrame& frame) const;
    AVPixelFormat resultFormat(const AVFrame& frame) const;
    std::string filters(const AVFrame& frame) const;
    const char* turn() const;
    int open(const AVFrame& frame);
    int openFilters(const AVFrame& frame);
    void drop();

    Conversion mConversion;
    AVRational mTimeBase = kMicroseconds;
    AVRational mOutputTimeBase = kMicroseconds;

    std::unique_ptr<PictureFilter> mFilter;
    int mWidth = 0;  // what the filter was opened for
    int mHeight = 0;
    int mFormat = AV_PIX_FMT_NONE;
    int mRange = AVCOL_RANGE_UNSPECIFIED;
    bool mIsHdr = false;
    bool mFinished = false;

    const AvFrameOwner mPassing;  // a frame that needs nothing done, until it is pulled
};

}  // namespace android
