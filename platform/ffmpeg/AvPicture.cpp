// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "ffmpeg/AvPicture.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace android {

namespace {

PicturePlanes::Layout layoutOf(int format) {
    using Layout = PicturePlanes::Layout;
    switch (format) {
        case AV_PIX_FMT_YUV420P:
        case AV_PIX_FMT_YUVJ420P:
            return Layout::kI420;
        case AV_PIX_FMT_NV12:
            return Layout::kNv12;
        case AV_PIX_FMT_YUYV422:
            return Layout::kYuyv;
        case AV_PIX_FMT_UYVY422:
            return Layout::kUyvy;
        case AV_PIX_FMT_RGB24:
            return Layout::kRgb24;
        case AV_PIX_FMT_BGR24:
            return Layout::kBgr24;
        case AV_PIX_FMT_BGR0:
            return Layout::kBgrx;
        case AV_PIX_FMT_RGB0:
            return Layout::kRgbx;
        default:
            return Layout::kOther;
    }
}

}  // namespace

AvPicture::AvPicture(AVFrame* frame, int64_t mediaTimeUs)
    : Picture(frame->width, frame->height, mediaTimeUs), mFrame(av_frame_alloc()) {
    av_frame_move_ref(mFrame, frame);
}

PicturePlanes AvPicture::planes() const {
    PicturePlanes planes;
    planes.layout = layoutOf(mFrame->format);
    if (planes.layout == PicturePlanes::Layout::kOther) return planes;
    const auto format = static_cast<AVPixelFormat>(mFrame->format);
    const int chromaShift = av_pix_fmt_desc_get(format)->log2_chroma_h;
    planes.count = static_cast<size_t>(av_pix_fmt_count_planes(format));
    for (size_t i = 0; i < planes.count; ++i) {
        PicturePlanes::Plane& plane = planes.planes[i];
        plane.data = mFrame->data[i];
        plane.stride = mFrame->linesize[i];
        plane.rowBytes = static_cast<size_t>(
                av_image_get_linesize(format, mFrame->width, static_cast<int>(i)));
        plane.rows = i == 0 ? mFrame->height : AV_CEIL_RSHIFT(mFrame->height, chromaShift);
    }
    return planes;
}

PictureFormat pictureFormatOf(const AVFrame& frame) {
    PictureFormat format;
    format.width = frame.width;
    format.height = frame.height;
    format.range = frame.format == AV_PIX_FMT_YUVJ420P ? AVCOL_RANGE_JPEG : frame.color_range;
    format.primaries = frame.color_primaries;
    format.transfer = frame.color_trc;
    format.matrix = frame.colorspace;
    format.chromaLocation = frame.chroma_location;
    const AVRational aspect = frame.sample_aspect_ratio;
    if (aspect.num > 0 && aspect.den > 0) {
        format.aspectNumerator = aspect.num;
        format.aspectDenominator = aspect.den;
    }
    return format;
}

}  // namespace android
