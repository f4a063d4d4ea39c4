// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "ffmpeg/AvOwner.h"
#include "graphics/Picture.h"
#include "graphics/PictureQueue.h"

namespace android {

// A picture whose pixels are an AVFrame's: every picture that decoders and cameras make.
class AvPicture : public Picture {
  public:
    // Takes the frame's references over and leaves `frame` empty.
    explicit AvPicture(AVFrame* frame, int64_t mediaTimeUs = kNoTime);

    // The picture as such a one; null for null and for a picture of another kind.
    static const AvPicture* of(const Picture* picture) {
        return dynamic_cast<const AvPicture*>(picture);
    }

    PicturePlanes planes() const override;

    const AVFrame* frame() const { return mFrame; }

  private:
    ~AvPicture() override = default;

    const AvFrameOwner mFrame;
};

// What the frame tells about itself.
PictureFormat pictureFormatOf(const AVFrame& frame);

}  // namespace android
