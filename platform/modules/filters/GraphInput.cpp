// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "GraphInput"

#include "modules/filters/GraphInput.h"

#include "ffmpeg/AvLog.h"
#include "ffmpeg/TimeBase.h"
#include "live/FrameTimes.h"
#include "modules/filters/AvFilterOwner.h"

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavutil/opt.h>
}

namespace android {

namespace {

// A filter graph without inputs. Only the first output of the kind is asked for frames, so that
// making the others costs nothing.
class GraphInput : public LiveInput {
  public:
    explicit GraphInput(LiveKind kind) : mKind(kind), mGraph(avfilter_graph_alloc()) {
        routeAvLog();
    }

    int open(const std::string& text) {
        if (mGraph == nullptr) return AVERROR(ENOMEM);
        AvFilterEndsOwner inputs;
        AvFilterEndsOwner outputs;
        int err = avfilter_graph_parse2(mGraph, text.c_str(), inputs.address(), outputs.address());
        if (err >= 0 && inputs != nullptr) err = AVERROR(EINVAL);
        for (AVFilterInOut* out = outputs; out != nullptr && err >= 0; out = out->next) {
            err = connect(out);
        }
        if (err >= 0 && mSink == nullptr) err = AVERROR_STREAM_NOT_FOUND;
        return err < 0 ? err : avfilter_graph_config(mGraph, nullptr);
    }

    LiveInfo info() const override {
        LiveInfo info;
        if (mKind == LiveKind::kPicture) {
            info.width = av_buffersink_get_w(mSink);
            info.height = av_buffersink_get_h(mSink);
            info.frameRate = frameRate();
        } else {
            info.sampleRate = av_buffersink_get_sample_rate(mSink);
        }
        return info;
    }

    int read(AVFrame* frame) override {
        const int err = av_buffersink_get_frame(mSink, frame);
        if (err < 0) return err;
        if (frame->pts != AV_NOPTS_VALUE) {
            frame->pts =
                    av_rescale_q(frame->pts, av_buffersink_get_time_base(mSink), kMicroseconds);
        }
        frame->pts = mTimes.next(*frame, frame->pts, frameRate());
        return 0;
    }

  private:
    // Of pictures; 0 for a graph that does not tell one.
    double frameRate() const {
        const AVRational rate = av_buffersink_get_frame_rate(mSink);
        return rate.num > 0 && rate.den > 0 ? av_q2d(rate) : 0;
    }

    int connect(AVFilterInOut* out) {
        const AVMediaType type = avfilter_pad_get_type(out->filter_ctx->output_pads, out->pad_idx);
        const bool isPicture = type == AVMEDIA_TYPE_VIDEO;
        if (mSink != nullptr || isPicture != (mKind == LiveKind::kPicture)) {
            return addFilter(isPicture ? "nullsink" : "anullsink", out, nullptr);
        }
        return addFilter(isPicture ? "buffersink" : "abuffersink", out, &mSink);
    }

    int addFilter(const char* type, AVFilterInOut* out, AVFilterContext** result) {
        AVFilterContext* filter =
                avfilter_graph_alloc_filter(mGraph, avfilter_get_by_name(type), nullptr);
        if (filter == nullptr) return AVERROR(ENOMEM);
        if (result == &mSink && mKind == LiveKind::kPicture) {
            static const AVPixelFormat kFormats[] = {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P,
                                                     AV_PIX_FMT_NV12, AV_PIX_FMT_NONE};
            av_opt_set_int_list(filter, "pix_fmts", kFormats, AV_PIX_FMT_NONE,
                                AV_OPT_SEARCH_CHILDREN);
        }
        const int err = avfilter_init_str(filter, nullptr);
        if (result != nullptr) *result = filter;
        return err < 0 ? err : avfilter_link(out->filter_ctx, out->pad_idx, filter, 0);
    }

    const LiveKind mKind;
    const AvFilterGraphOwner mGraph;
    AVFilterContext* mSink = nullptr;  // the graph's
    FrameTimes mTimes;
};

}  // namespace

std::unique_ptr<LiveInput> openGraphInput(const LiveSource& source, const LiveOptions& options,
                                          std::string* error) {
    auto input = std::make_unique<GraphInput>(options.kind);
    const int err = input->open(source.name);
    if (err >= 0) return input;
    *error = liveOpenError(source, err);
    return nullptr;
}

}  // namespace android
