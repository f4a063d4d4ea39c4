// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "graphics/PictureQueue.h"

namespace android {

// What displays need of those who know a picture's pixels. Thread-bound: it keeps what the next
// picture of the same kind can use.
class PictureConverter {
  public:
    // Defined with the codecs.
    static std::unique_ptr<PictureConverter> create();

    virtual ~PictureConverter() = default;

    // A picture of planar 4:2:0 with limited range that looks like `picture`, and its format;
    // null when that fails.
    virtual sp<Picture> toPlanar(const sp<Picture>& picture, PictureFormat* format) = 0;

    // Encodes a picture as PNG, its sample aspect ratio included.
    virtual bool toPng(const sp<Picture>& picture, const PictureFormat& format,
                       std::vector<uint8_t>* png) = 0;
};

}  // namespace android
