// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>

#include "live/LiveReader.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace android {

// Makes the block that is wanted of a frame that has come. Thread-bound.
class LiveConverter {
  public:
    virtual ~LiveConverter() = default;

    // Fills in everything but the time, which may be shifted by `shiftUs` against the frame's.
    // False when the frame gives no block. Takes the frame's references over.
    virtual bool convert(AVFrame* frame, LiveBlock* block, int64_t* shiftUs) = 0;
};

std::unique_ptr<LiveConverter> createLivePictureConverter(const LiveOptions& options,
                                                          const LiveInfo& info);
std::unique_ptr<LiveConverter> createLiveSoundConverter(const LiveOptions& options);

}  // namespace android
