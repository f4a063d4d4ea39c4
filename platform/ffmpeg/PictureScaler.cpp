// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "ffmpeg/PictureScaler.h"

#include <algorithm>
#include <cstring>
#include <thread>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace android {

namespace {

constexpr unsigned kMaxThreads = 4;
constexpr int kAlignment = 64;
// Of 256 parts of a luma line: between two lines, as is usual for 4:2:0.
constexpr int kChromaBetweenLines = 128;

}  // namespace

bool PictureScaler::isFullRange(int format) {
    const char* name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(format));
    return name != nullptr && strncmp(name, "yuvj", 4) == 0;
}

bool PictureScaler::takes(AVPixelFormat format) {
    constexpr uint64_t kOthers = AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BAYER |
                                 AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_ALPHA;
    const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(format);
    return description != nullptr && description->nb_components == 3 &&
           (description->flags & kOthers) == 0;
}

int PictureScaler::threads() {
    return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, kMaxThreads));
}

PictureScaler::PictureScaler(const Result& result, AVRational timeBase)
    : mResult(result),
      mTimeBase(timeBase),
      mScaler(sws_alloc_context()),
      mScaled(av_frame_alloc()) {}

int PictureScaler::open(const AVFrame& frame, const Result& result, AVRational timeBase,
                        std::unique_ptr<PictureFilter>* filter) {
    std::unique_ptr<PictureScaler> scaler(new PictureScaler(result, timeBase));
    if (scaler->mScaler == nullptr || scaler->mScaled == nullptr) return AVERROR(ENOMEM);
    const int err = scaler->openScaler(frame);
    if (err < 0) return err;
    *filter = std::move(scaler);
    return 0;
}

int PictureScaler::openScaler(const AVFrame& frame) {
    const bool isFull = isFullRange(frame.format) || frame.color_range == AVCOL_RANGE_JPEG;
    const struct {
        const char* name;
        int64_t value;
    } options[] = {
            {"srcw", frame.width},          {"srch", frame.height},
            {"src_format", frame.format},   {"src_range", isFull},
            {"dstw", mResult.width},        {"dsth", mResult.height},
            {"dst_format", mResult.format}, {"dst_range", isFullRange(mResult.format)},
            {"sws_flags", SWS_BICUBIC},     {"threads", threads()},
    };
    for (const auto& option : options)
        av_opt_set_int(mScaler, option.name, option.value, 0);
    if (frame.format == AV_PIX_FMT_YUV420P) {
        av_opt_set_int(mScaler, "src_v_chr_pos", kChromaBetweenLines, 0);
    }
    if (mResult.format == AV_PIX_FMT_YUV420P) {
        av_opt_set_int(mScaler, "dst_v_chr_pos", kChromaBetweenLines, 0);
    }
    const int err = sws_init_context(mScaler, nullptr, nullptr);
    if (err < 0) return err;
    const int bytes =
            av_image_get_buffer_size(mResult.format, mResult.width, mResult.height, kAlignment);
    if (bytes < 0) return bytes;
    // Behind the last line the scaler may write as far as a vector goes.
    mPool.reset(av_buffer_pool_init(static_cast<size_t>(bytes) + kAlignment, nullptr));
    return mPool != nullptr ? 0 : AVERROR(ENOMEM);
}

int PictureScaler::push(AVFrame* frame) {
    const int err = scale(*frame);
    if (err < 0) av_frame_unref(mScaled);
    av_frame_unref(frame);
    return err;
}

int PictureScaler::scale(const AVFrame& frame) {
    int err = allocateScaled();
    if (err >= 0) err = av_frame_copy_props(mScaled, &frame);
    if (err < 0) return err;
    if (frame.color_range != AVCOL_RANGE_UNSPECIFIED) {
        mScaled->color_range = isFullRange(mResult.format) ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    }
    if (mResult.squareSamples) mScaled->sample_aspect_ratio = {1, 1};
    return std::min(sws_scale_frame(mScaler, mScaled, &frame), 0);
}

int PictureScaler::allocateScaled() {
    av_frame_unref(mScaled);
    mScaled->format = mResult.format;
    mScaled->width = mResult.width;
    mScaled->height = mResult.height;
    mScaled->buf[0] = av_buffer_pool_get(mPool);
    if (mScaled->buf[0] == nullptr) return AVERROR(ENOMEM);
    const int err = av_image_fill_arrays(mScaled->data, mScaled->linesize, mScaled->buf[0]->data,
                                         mResult.format, mResult.width, mResult.height, kAlignment);
    mScaled->extended_data = mScaled->data;
    return std::min(err, 0);
}

int PictureScaler::pull(AVFrame* frame) {
    if (mScaled->buf[0] == nullptr) return AVERROR(EAGAIN);
    av_frame_move_ref(frame, mScaled);
    return 0;
}

}  // namespace android
