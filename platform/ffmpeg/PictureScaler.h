// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>

#include "ffmpeg/AvOwner.h"
#include "ffmpeg/PictureFilter.h"

namespace android {

// Another size or pixel format and nothing else, bicubic. Each frame that is pushed must be pulled
// before the next one.
class PictureScaler : public PictureFilter {
  public:
    struct Result {
        int width;
        int height;
        AVPixelFormat format;
        bool squareSamples;  // else the source's aspect ratio stays
    };

    // Whether it can read and make such pictures: brightness and two of colour, in memory.
    static bool takes(AVPixelFormat format);
    // Whether the format itself says that samples have their full range; pictures in all others are
    // made limited.
    static bool isFullRange(int format);
    // How many threads a conversion uses.
    static int threads();

    static int open(const AVFrame& frame, const Result& result, AVRational timeBase,
                    std::unique_ptr<PictureFilter>* filter);
    PictureScaler(const PictureScaler&) = delete;
    PictureScaler& operator=(const PictureScaler&) = delete;

    int push(AVFrame* frame) override;
    int finish(int64_t /*endPts*/) override { return 0; }
    int pull(AVFrame* frame) override;
    AVRational timeBase() const override { return mTimeBase; }

  private:
    PictureScaler(const Result& result, AVRational timeBase);

    int openScaler(const AVFrame& frame);
    int scale(const AVFrame& frame);
    int allocateScaled();

    const Result mResult;
    const AVRational mTimeBase;
    const AvScalerOwner mScaler;
    AvBufferPoolOwner mPool;     // of pictures that are in use again and again
    const AvFrameOwner mScaled;  // until it is pulled
};

}  // namespace android
