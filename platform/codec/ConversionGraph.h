// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavutil/frame.h>
#include <libavutil/rational.h>
}

namespace android {

// What is to be done with pictures; 0 everywhere: nothing but making them 4:2:0 with 8 bits.
struct Conversion {
    int deinterlace = 0;      // 1: one picture for each frame, 2: one for each field
    int rotationDegrees = 0;  // clockwise: 90, 180, 270
    int width = 0;            // of the result, after rotation, with square samples
    int height = 0;
    int frameRate = 0;                            // pictures a second
    int sourceFrameRate = 0;                      // 0: not known
    AVPixelFormat pixelFormat = AV_PIX_FMT_NONE;  // NONE: whatever 8-bit 4:2:0 is nearest
};

// Converts pictures. One that needs nothing done goes through untouched; for others a filter graph
// is built, and built anew when size or format of the pictures change. Only frames that are marked
// as interlaced are de-interlaced: decoders mark reliably, and progressive ones keep their detail.
//
// Thread-bound. All results are 0 or a negative AVERROR.
class ConversionGraph {
  public:
    ConversionGraph();
    ~ConversionGraph();
    ConversionGraph(const ConversionGraph&) = delete;
    ConversionGraph& operator=(const ConversionGraph&) = delete;

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
    bool needsGraph(const AVFrame& frame) const;
    std::string filters(const AVFrame& frame) const;
    int build(const AVFrame& frame);
    void dropGraph();

    Conversion mConversion;
    AVRational mTimeBase = {1, 1000000};
    AVRational mOutputTimeBase = {1, 1000000};

    AVFilterGraph* mGraph = nullptr;
    AVFilterContext* mSource = nullptr;  // the graph's, like mSink
    AVFilterContext* mSink = nullptr;
    int mWidth = 0;  // what the graph was built for
    int mHeight = 0;
    int mFormat = AV_PIX_FMT_NONE;
    bool mFinished = false;

    AVFrame* const mPassing;  // a frame that needs no graph, until it is pulled
};

}  // namespace android
