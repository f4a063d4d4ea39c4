// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/RefBase.h>

#include <cstddef>
#include <cstdint>

namespace android {

// The samples of a picture as they lie in memory, 8 bits each.
struct PicturePlanes {
    enum class Layout {
        kOther,  // none of these: no planes are told
        kI420,   // 4:2:0, three planes
        kNv12,   // 4:2:0, Y and interleaved CbCr
        kYuyv,   // 4:2:2, packed
        kUyvy,
        kRgb24,
        kBgr24,
        kBgrx,  // 4 bytes a pixel, the last one is not looked at
        kRgbx,
    };
    struct Plane {
        const uint8_t* data = nullptr;
        ptrdiff_t stride = 0;  // bytes from one row to the next, may be negative
        size_t rowBytes = 0;   // of these, what is to be seen
        int32_t rows = 0;
    };
    static constexpr size_t kMaxPlanes = 3;

    Layout layout = Layout::kOther;
    size_t count = 0;
    Plane planes[kMaxPlanes];
};

// One decoded or captured picture, shared by reference between producer and consumer of a surface:
// no pixel is copied on the way. What holds the pixels is the subclass's matter (codec, camera and
// display know each other's); immutable after construction.
class Picture : public RefBase {
  public:
    static constexpr int64_t kNoTime = -1;

    int32_t width() const { return mWidth; }
    int32_t height() const { return mHeight; }
    // Its place in the stream, whatever a renderer makes of it; kNoTime: not known.
    int64_t mediaTimeUs() const { return mMediaTimeUs; }

    // Valid as long as the picture.
    virtual PicturePlanes planes() const { return {}; }

  protected:
    Picture(int32_t width, int32_t height, int64_t mediaTimeUs = kNoTime)
        : mWidth(width), mHeight(height), mMediaTimeUs(mediaTimeUs) {}

  private:
    const int32_t mWidth;
    const int32_t mHeight;
    const int64_t mMediaTimeUs;
};

}  // namespace android
