// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/RefBase.h>

#include <cstdint>

namespace android {

// One decoded or captured picture, shared by reference between producer and consumer of a surface:
// no pixel is copied on the way. What holds the pixels is the subclass's matter (codec, camera and
// display know each other's); immutable after construction.
class Picture : public RefBase {
  public:
    int32_t width() const { return mWidth; }
    int32_t height() const { return mHeight; }

  protected:
    Picture(int32_t width, int32_t height) : mWidth(width), mHeight(height) {}

  private:
    const int32_t mWidth;
    const int32_t mHeight;
};

}  // namespace android
