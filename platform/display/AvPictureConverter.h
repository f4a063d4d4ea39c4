// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <array>

#include "display/PictureConverter.h"
#include "ffmpeg/AvOwner.h"

namespace android {

// Converts AvPictures with libswscale, and encodes them with libavcodec.
class AvPictureConverter : public PictureConverter {
  public:
    AvPictureConverter() = default;
    AvPictureConverter(const AvPictureConverter&) = delete;
    AvPictureConverter& operator=(const AvPictureConverter&) = delete;

    sp<Picture> toPlanar(const sp<Picture>& picture, PictureFormat* format) override;
    bool toPng(const sp<Picture>& picture, const PictureFormat& format,
               std::vector<uint8_t>* png) override;

  private:
    // A frame of its own with the same pixels; null when that fails.
    AvFrameOwner convert(const Picture& picture, const PictureFormat& format,
                         AVPixelFormat pixelFormat, int matrix);
    bool openScaler(const AVFrame& source, AVPixelFormat sourceFormat, bool fullRange,
                    int sourceMatrix, AVPixelFormat resultFormat, int resultMatrix);
    bool openEncoder(const AVFrame& frame);
    bool encode(const AVFrame& frame, std::vector<uint8_t>* bytes);

    AvScalerOwner mScaler;
    std::array<int, 7> mScalerKey = {};  // what it was made for
    AvCodecOwner mEncoder;
};

}  // namespace android
