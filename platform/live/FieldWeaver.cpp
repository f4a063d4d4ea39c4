// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "live/FieldWeaver.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace android {

namespace {

void markInterlaced(AVFrame* frame) {
#ifdef AV_FRAME_FLAG_INTERLACED
    frame->flags |= AV_FRAME_FLAG_INTERLACED | AV_FRAME_FLAG_TOP_FIELD_FIRST;
#else
    frame->interlaced_frame = 1;
    frame->top_field_first = 1;
#endif
}

// Every second line of all planes, from the first one on.
void copyUpperField(AVFrame* to, const AVFrame& from) {
    const auto format = static_cast<AVPixelFormat>(from.format);
    const AVPixFmtDescriptor* const layout = av_pix_fmt_desc_get(format);
    for (int plane = 0; plane < av_pix_fmt_count_planes(format); ++plane) {
        const bool isSmaller = plane == 1 || plane == 2;
        const int lines = AV_CEIL_RSHIFT(from.height, isSmaller ? layout->log2_chroma_h : 0);
        av_image_copy_plane(to->data[plane], 2 * to->linesize[plane], from.data[plane],
                            2 * from.linesize[plane],
                            av_image_get_linesize(format, from.width, plane), (lines + 1) / 2);
    }
}

}  // namespace

int FieldWeaver::weave(AVFrame* frame) {
    AvFrameOwner present(av_frame_clone(frame));
    if (present == nullptr || mFormer == nullptr) return AVERROR(ENOMEM);
    if (continues(*frame)) {
        const int err = av_frame_make_writable(frame);
        if (err < 0) return err;
        copyUpperField(frame, *mFormer);
    }
    markInterlaced(frame);
    av_frame_unref(mFormer);
    av_frame_move_ref(mFormer, present);
    return 0;
}

void FieldWeaver::forget() {
    av_frame_unref(mFormer);
}

bool FieldWeaver::continues(const AVFrame& frame) const {
    return mFormer->format == frame.format && mFormer->width == frame.width &&
           mFormer->height == frame.height;
}

}  // namespace android
