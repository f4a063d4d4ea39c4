// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/TestPictures.h"

#include <algorithm>
#include <cstdlib>

#include "ffmpeg/AvPicture.h"
#include "graphics/LocalBufferProducer.h"
#include "support/Deadline.h"
#include "support/MediaReader.h"

extern "C" {
#include <libswscale/swscale.h>
}

namespace oxa::test {

using namespace android;

namespace {

FramePtr newFrame(AVPixelFormat pixelFormat, int width, int height) {
    FramePtr frame(av_frame_alloc());
    frame->format = pixelFormat;
    frame->width = width;
    frame->height = height;
    if (av_frame_get_buffer(frame.get(), 0) < 0) abort();
    return frame;
}

FramePtr rgbCard(int width, int height) {
    FramePtr frame = newFrame(AV_PIX_FMT_RGB24, width, height);
    for (int y = 0; y < height; ++y) {
        uint8_t* pixel = frame->data[0] + y * frame->linesize[0];
        for (int x = 0; x < width; ++x, pixel += 3) {
            const Rgb& colour = kCardColours[(y * 2 < height ? 0 : 2) + (x * 2 < width ? 0 : 1)];
            std::copy(colour.begin(), colour.end(), pixel);
        }
    }
    return frame;
}

// The upper field first. Its name has changed with FFmpeg 6.1.
void markInterlaced(AVFrame* frame) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(58, 7, 100)
    frame->flags |= AV_FRAME_FLAG_INTERLACED | AV_FRAME_FLAG_TOP_FIELD_FIRST;
#else
    frame->interlaced_frame = frame->top_field_first = 1;
#endif
}

// Lets its rows be read from the last one in memory on.
void turnUpsideDown(AVFrame* frame) {
    for (int i = 0; i < AV_NUM_DATA_POINTERS && frame->data[i] != nullptr; ++i) {
        const bool halved =
                i > 0 && (frame->format == AV_PIX_FMT_YUV420P || frame->format == AV_PIX_FMT_NV12);
        const int rows = halved ? (frame->height + 1) / 2 : frame->height;
        frame->data[i] += (rows - 1) * frame->linesize[i];
        frame->linesize[i] = -frame->linesize[i];
    }
}

}  // namespace

sp<Picture> makeCard(const CardOptions& options) {
    const FramePtr card = rgbCard(options.width, options.height);
    FramePtr frame = newFrame(options.pixelFormat, options.width, options.height);
    if (options.upsideDownInMemory) turnUpsideDown(frame.get());
    if (options.interlaced) markInterlaced(frame.get());
    SwsContext* scaler = sws_getContext(options.width, options.height, AV_PIX_FMT_RGB24,
                                        options.width, options.height, options.pixelFormat,
                                        SWS_POINT | SWS_ACCURATE_RND, nullptr, nullptr, nullptr);
    if (scaler == nullptr) abort();
    constexpr int kOne = 1 << 16;
    sws_setColorspaceDetails(scaler, sws_getCoefficients(SWS_CS_DEFAULT), 1,
                             sws_getCoefficients(options.matrix), options.range == AVCOL_RANGE_JPEG,
                             0, kOne, kOne);
    sws_scale(scaler, card->data, card->linesize, 0, options.height, frame->data, frame->linesize);
    sws_freeContext(scaler);
    return new AvPicture(frame.get(), -1);
}

PictureFormat formatOf(const CardOptions& options) {
    PictureFormat format;
    format.width = options.width;
    format.height = options.height;
    format.range = options.range;
    format.matrix = options.matrix;
    return format;
}

bool CardProducer::queue(const sp<Picture>& picture, int64_t timestampNs) {
    if (!waitFor([this] { return mQueue->tryReserve(); })) return false;
    mQueue->queue(picture, timestampNs);
    return true;
}

size_t CardProducer::freePlaces() {
    size_t count = 0;
    while (mQueue->tryReserve())
        ++count;
    for (size_t i = 0; i < count; ++i)
        mQueue->cancelReservation();
    return count;
}

std::unique_ptr<CardProducer> producerOf(const host::Display& display) {
    auto producer =
            std::make_unique<CardProducer>(LocalBufferProducer::queueOf(display.producer()));
    producer->connect();
    return producer;
}

}  // namespace oxa::test
