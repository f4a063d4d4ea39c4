// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/graphics/TestPictures.h"

#include <cstdlib>

#include "codec/AvPicture.h"
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
            pixel[0] = static_cast<uint8_t>(colour.red);
            pixel[1] = static_cast<uint8_t>(colour.green);
            pixel[2] = static_cast<uint8_t>(colour.blue);
        }
    }
    return frame;
}

int rowsOf(const AVFrame& frame, int plane) {
    const bool halved =
            plane > 0 && (frame.format == AV_PIX_FMT_YUV420P || frame.format == AV_PIX_FMT_NV12);
    return halved ? (frame.height + 1) / 2 : frame.height;
}

}  // namespace

sp<Picture> makeCard(const CardOptions& options) {
    const FramePtr card = rgbCard(options.width, options.height);
    FramePtr frame = newFrame(options.pixelFormat, options.width, options.height);
    const int stepDown = options.upsideDownInMemory ? -1 : 1;
    uint8_t* data[AV_NUM_DATA_POINTERS] = {};
    int linesize[AV_NUM_DATA_POINTERS] = {};
    for (int i = 0; i < 4 && frame->data[i] != nullptr; ++i) {
        const int lastRow = (rowsOf(*frame, i) - 1) * frame->linesize[i];
        data[i] = frame->data[i] + (options.upsideDownInMemory ? lastRow : 0);
        linesize[i] = stepDown * frame->linesize[i];
    }
    SwsContext* scaler = sws_getContext(options.width, options.height, AV_PIX_FMT_RGB24,
                                        options.width, options.height, options.pixelFormat,
                                        SWS_POINT | SWS_ACCURATE_RND, nullptr, nullptr, nullptr);
    if (scaler == nullptr) abort();
    constexpr int kOne = 1 << 16;
    sws_setColorspaceDetails(scaler, sws_getCoefficients(SWS_CS_DEFAULT), 1,
                             sws_getCoefficients(options.matrix), options.range == AVCOL_RANGE_JPEG,
                             0, kOne, kOne);
    sws_scale(scaler, card->data, card->linesize, 0, options.height, data, linesize);
    sws_freeContext(scaler);
    for (int i = 0; i < AV_NUM_DATA_POINTERS; ++i) {
        frame->data[i] = data[i];
        frame->linesize[i] = linesize[i];
    }
    return new AvPicture(frame.get(), options.mediaTimeUs);
}

PictureFormat formatOf(const CardOptions& options) {
    PictureFormat format;
    format.width = options.width;
    format.height = options.height;
    format.range = options.range;
    format.matrix = options.matrix;
    return format;
}

CardProducer::CardProducer(const sp<PictureQueue>& queue)
    : mQueue(queue), mListener(new Listener) {}

CardProducer::~CardProducer() {
    disconnect();
}

void CardProducer::connect() {
    mQueue->connect(mListener);
}

void CardProducer::disconnect() {
    mQueue->disconnect(mListener);
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

}  // namespace oxa::test
