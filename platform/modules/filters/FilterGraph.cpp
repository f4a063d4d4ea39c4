// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "modules/filters/FilterGraph.h"

#include <algorithm>
#include <cstdio>

#include "ffmpeg/PictureScaler.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/opt.h>
}

namespace android {

FilterGraph::FilterGraph() : mGraph(avfilter_graph_alloc()) {}

int FilterGraph::open(const std::string& chain, const AVFrame& frame, AVRational timeBase,
                      std::unique_ptr<PictureFilter>* filter) {
    std::unique_ptr<FilterGraph> graph(new FilterGraph);
    if (graph->mGraph == nullptr) return AVERROR(ENOMEM);
    graph->mGraph->nb_threads = PictureScaler::threads();
    av_opt_set(graph->mGraph, "scale_sws_opts", "flags=bicubic", 0);
    int err = graph->addEnds(frame, timeBase);
    if (err >= 0) err = graph->addChain(chain);
    if (err >= 0) err = avfilter_graph_config(graph->mGraph, nullptr);
    if (err < 0) return err;
    *filter = std::move(graph);
    return 0;
}

int FilterGraph::addEnds(const AVFrame& frame, AVRational timeBase) {
    const AVRational aspect = frame.sample_aspect_ratio;
    char arguments[160];
    snprintf(arguments, sizeof(arguments),
             "video_size=%dx%d:pix_fmt=%d:time_base=%d/%d:pixel_aspect=%d/%d", frame.width,
             frame.height, frame.format, timeBase.num, timeBase.den, aspect.num,
             std::max(aspect.den, 1));
    const int err = avfilter_graph_create_filter(&mSource, avfilter_get_by_name("buffer"), "in",
                                                 arguments, nullptr, mGraph);
    if (err < 0) return err;
    return avfilter_graph_create_filter(&mSink, avfilter_get_by_name("buffersink"), "out", nullptr,
                                        nullptr, mGraph);
}

int FilterGraph::addChain(const std::string& chain) {
    AvFilterEndsOwner outputs(avfilter_inout_alloc());
    AvFilterEndsOwner inputs(avfilter_inout_alloc());
    *outputs = {av_strdup("in"), mSource, 0, nullptr};
    *inputs = {av_strdup("out"), mSink, 0, nullptr};
    return avfilter_graph_parse_ptr(mGraph, chain.c_str(), inputs.address(), outputs.address(),
                                    nullptr);
}

int FilterGraph::push(AVFrame* frame) {
    const int err = av_buffersrc_add_frame_flags(mSource, frame, 0);
    av_frame_unref(frame);
    return std::min(err, 0);
}

int FilterGraph::finish(int64_t endPts) {
    return std::min(av_buffersrc_close(mSource, endPts, 0), 0);
}

int FilterGraph::pull(AVFrame* frame) {
    return std::min(av_buffersink_get_frame(mSink, frame), 0);
}

AVRational FilterGraph::timeBase() const {
    return av_buffersink_get_time_base(mSink);
}

}  // namespace android
