// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "codec/AvPicture.h"

namespace android {

AvPicture::AvPicture(AVFrame* frame)
    : Picture(frame->width, frame->height), mFrame(av_frame_alloc()) {
    av_frame_move_ref(mFrame, frame);
}

AvPicture::~AvPicture() {
    AVFrame* frame = mFrame;
    av_frame_free(&frame);
}

}  // namespace android
