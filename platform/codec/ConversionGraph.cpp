// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "ConversionGraph"

#include "codec/ConversionGraph.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <thread>

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace android {

namespace {

constexpr unsigned kMaxThreads = 4;

bool isPlain(int format) {
    return format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_YUVJ420P ||
           format == AV_PIX_FMT_NV12;
}

// The 8-bit 4:2:0 format that keeps the range of the samples.
AVPixelFormat plainFormatFor(int format) {
    const char* name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(format));
    const bool fullRange = name != nullptr && strncmp(name, "yuvj", 4) == 0;
    return fullRange ? AV_PIX_FMT_YUVJ420P : AV_PIX_FMT_YUV420P;
}

void append(std::string* chain, const std::string& filter) {
    if (!chain->empty()) *chain += ',';
    *chain += filter;
}

}  // namespace

ConversionGraph::ConversionGraph() : mPassing(av_frame_alloc()) {}

ConversionGraph::~ConversionGraph() {
    dropGraph();
    AVFrame* frame = mPassing;
    av_frame_free(&frame);
}

void ConversionGraph::start(const Conversion& conversion, AVRational timeBase) {
    dropGraph();
    av_frame_unref(mPassing);
    mConversion = conversion;
    mTimeBase = timeBase;
    mOutputTimeBase = timeBase;
}

bool ConversionGraph::isChange(const AVFrame& frame) const {
    return mGraph != nullptr &&
           (frame.width != mWidth || frame.height != mHeight || frame.format != mFormat);
}

int ConversionGraph::push(AVFrame* frame) {
    if (mFinished || isChange(*frame)) dropGraph();
    if (mGraph == nullptr && !needsGraph(*frame)) {
        mOutputTimeBase = mTimeBase;
        av_frame_unref(mPassing);
        av_frame_move_ref(mPassing, frame);
        return 0;
    }
    int err = mGraph == nullptr ? build(*frame) : 0;
    if (err >= 0) err = av_buffersrc_add_frame_flags(mSource, frame, 0);
    av_frame_unref(frame);
    return std::min(err, 0);
}

int ConversionGraph::finish(int64_t endPts) {
    if (mGraph == nullptr || mFinished) return 0;
    mFinished = true;
    return std::min(av_buffersrc_close(mSource, endPts, 0), 0);
}

int ConversionGraph::pull(AVFrame* frame) {
    if (mPassing->buf[0] != nullptr) {
        av_frame_move_ref(frame, mPassing);
        return 0;
    }
    if (mGraph == nullptr) return AVERROR(EAGAIN);
    return std::min(av_buffersink_get_frame(mSink, frame), 0);
}

bool ConversionGraph::needsGraph(const AVFrame& frame) const {
    const Conversion& c = mConversion;
    if (c.deinterlace != 0 || c.rotationDegrees != 0 || c.frameRate != 0) return true;
    if (c.width != 0 && (c.width != frame.width || c.height != frame.height)) return true;
    if (c.pixelFormat != AV_PIX_FMT_NONE) return c.pixelFormat != frame.format;
    return !isPlain(frame.format);
}

std::string ConversionGraph::filters(const AVFrame& frame) const {
    const Conversion& c = mConversion;
    const std::string rate = c.frameRate == 0 ? "" : "fps=" + std::to_string(c.frameRate);
    const bool rateLast = c.sourceFrameRate != 0 && c.frameRate > c.sourceFrameRate;
    std::string chain;
    if (c.deinterlace == 1) append(&chain, "bwdif=mode=send_frame:deint=interlaced");
    if (c.deinterlace == 2) append(&chain, "bwdif=mode=send_field:deint=interlaced");
    // Pictures are dropped before the work that they would cost, and repeated after it.
    if (!rate.empty() && !rateLast) append(&chain, rate);
    if (c.rotationDegrees == 90) append(&chain, "transpose=clock");
    if (c.rotationDegrees == 180) append(&chain, "hflip,vflip");
    if (c.rotationDegrees == 270) append(&chain, "transpose=cclock");
    if (c.width != 0) {
        append(&chain, "scale=" + std::to_string(c.width) + ":" + std::to_string(c.height) +
                               ":flags=bicubic,setsar=1");
    }
    AVPixelFormat format = c.pixelFormat;
    if (format == AV_PIX_FMT_NONE && !isPlain(frame.format)) format = plainFormatFor(frame.format);
    if (format != AV_PIX_FMT_NONE) {
        append(&chain, std::string("format=") + av_get_pix_fmt_name(format));
    }
    if (!rate.empty() && rateLast) append(&chain, rate);
    return chain.empty() ? "null" : chain;
}

int ConversionGraph::build(const AVFrame& frame) {
    mGraph = avfilter_graph_alloc();
    if (mGraph == nullptr) return AVERROR(ENOMEM);
    mGraph->nb_threads =
            static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, kMaxThreads));
    av_opt_set(mGraph, "scale_sws_opts", "flags=bicubic", 0);

    const AVRational aspect = frame.sample_aspect_ratio;
    char arguments[160];
    snprintf(arguments, sizeof(arguments),
             "video_size=%dx%d:pix_fmt=%d:time_base=%d/%d:pixel_aspect=%d/%d", frame.width,
             frame.height, frame.format, mTimeBase.num, mTimeBase.den, aspect.num,
             std::max(aspect.den, 1));
    int err = avfilter_graph_create_filter(&mSource, avfilter_get_by_name("buffer"), "in",
                                           arguments, nullptr, mGraph);
    if (err >= 0) {
        err = avfilter_graph_create_filter(&mSink, avfilter_get_by_name("buffersink"), "out",
                                           nullptr, nullptr, mGraph);
    }
    if (err >= 0) {
        AVFilterInOut* outputs = avfilter_inout_alloc();
        AVFilterInOut* inputs = avfilter_inout_alloc();
        *outputs = {av_strdup("in"), mSource, 0, nullptr};
        *inputs = {av_strdup("out"), mSink, 0, nullptr};
        err = avfilter_graph_parse_ptr(mGraph, filters(frame).c_str(), &inputs, &outputs, nullptr);
        avfilter_inout_free(&inputs);
        avfilter_inout_free(&outputs);
    }
    if (err >= 0) err = avfilter_graph_config(mGraph, nullptr);
    if (err < 0) {
        dropGraph();
        return err;
    }
    mWidth = frame.width;
    mHeight = frame.height;
    mFormat = frame.format;
    mOutputTimeBase = av_buffersink_get_time_base(mSink);
    return 0;
}

void ConversionGraph::dropGraph() {
    avfilter_graph_free(&mGraph);
    mSource = nullptr;
    mSink = nullptr;
    mFinished = false;
}

}  // namespace android
