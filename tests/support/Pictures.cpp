// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/Pictures.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "support/MediaReader.h"

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

namespace oxa::test {

namespace {

// A filter graph that ends in 4:2:0, rebuilt when the pictures change their size or format.
class PictureFilter {
  public:
    explicit PictureFilter(std::string chain) : mChain(std::move(chain)) {}
    ~PictureFilter() { avfilter_graph_free(&mGraph); }

    bool push(const AVFrame& frame) {
        if (mGraph == nullptr || frame.width != mWidth || frame.height != mHeight ||
            frame.format != mFormat) {
            if (!build(frame)) return false;
        }
        return av_buffersrc_write_frame(mSource, &frame) >= 0;
    }
    // No more pictures come: what the chain still holds can be pulled.
    bool finish() { return mGraph != nullptr && av_buffersrc_write_frame(mSource, nullptr) >= 0; }
    bool pull(AVFrame* frame) {
        return mSink != nullptr && av_buffersink_get_frame(mSink, frame) >= 0;
    }

  private:
    bool build(const AVFrame& frame) {
        avfilter_graph_free(&mGraph);
        mGraph = avfilter_graph_alloc();
        mWidth = frame.width;
        mHeight = frame.height;
        mFormat = frame.format;
        const AVRational sar = frame.sample_aspect_ratio;
        const std::string source = "buffer=width=" + std::to_string(mWidth) +
                                   ":height=" + std::to_string(mHeight) +
                                   ":pix_fmt=" + std::to_string(mFormat) +
                                   ":time_base=1/1000000:pixel_aspect=" + std::to_string(sar.num) +
                                   "/" + std::to_string(std::max(1, sar.den));
        const std::string text = source + "," + mChain + ",buffersink";
        AVFilterInOut* inputs = nullptr;
        AVFilterInOut* outputs = nullptr;
        const bool parsed = avfilter_graph_parse2(mGraph, text.c_str(), &inputs, &outputs) >= 0;
        avfilter_inout_free(&inputs);
        avfilter_inout_free(&outputs);
        if (!parsed || avfilter_graph_config(mGraph, nullptr) < 0) return false;
        mSource = mGraph->filters[0];
        mSink = nullptr;
        for (unsigned i = 0; i < mGraph->nb_filters; ++i) {
            if (strcmp(mGraph->filters[i]->filter->name, "buffersink") == 0) {
                mSink = mGraph->filters[i];
            }
        }
        return mSink != nullptr;
    }

    const std::string mChain;
    AVFilterGraph* mGraph = nullptr;
    AVFilterContext* mSource = nullptr;
    AVFilterContext* mSink = nullptr;
    int mWidth = 0;
    int mHeight = 0;
    int mFormat = -1;
};

std::string chainOf(const PictureOptions& options) {
    std::string chain = options.filter.empty() ? "" : options.filter + ",";
    if (options.width > 0 && options.height > 0) {
        chain += "scale=" + std::to_string(options.width) + ":" + std::to_string(options.height) +
                 ":flags=bicubic,";
    }
    return chain + "format=yuv420p";
}

Image copyImage(const AVFrame& frame, int64_t timeUs) {
    Image image;
    image.width = frame.width;
    image.height = frame.height;
    image.timeUs = timeUs;
    for (int plane = 0; plane < 3; ++plane) {
        const int width = image.planeWidth(plane);
        for (int row = 0; row < image.planeHeight(plane); ++row) {
            const uint8_t* line = frame.data[plane] + row * frame.linesize[plane];
            image.planes[plane].insert(image.planes[plane].end(), line, line + width);
        }
    }
    return image;
}

double planePsnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    double sum = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        const double difference = static_cast<double>(a[i]) - b[i];
        sum += difference * difference;
    }
    if (sum == 0) return kEqualPsnr;
    return std::min(kEqualPsnr,
                    10 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / sum));
}

}  // namespace

std::vector<Image> decodePictures(const std::string& path, const PictureOptions& options) {
    std::vector<Image> images;
    MediaReader reader(path);
    const int stream = reader.findStream(AVMEDIA_TYPE_VIDEO);
    if (stream < 0) return images;
    PictureFilter filter(chainOf(options));
    FramePtr filtered(av_frame_alloc());
    FramePtr input(av_frame_alloc());
    const auto full = [&] {
        return options.maxCount >= 0 && images.size() >= static_cast<size_t>(options.maxCount);
    };
    const auto collect = [&] {
        while (filter.pull(filtered.get())) {
            if (!full()) images.push_back(copyImage(*filtered, filtered->pts));
            av_frame_unref(filtered.get());
        }
    };
    reader.decode({stream}, [&](int, const AVFrame& frame, int64_t timeUs) {
        if (full()) return;
        av_frame_ref(input.get(), &frame);
        input->pts = timeUs;
        if (filter.push(*input)) collect();
        av_frame_unref(input.get());
    });
    if (filter.finish()) collect();
    return images;
}

Psnr psnr(const Image& a, const Image& b) {
    if (a.width != b.width || a.height != b.height) return {-1, -1, -1};
    return {planePsnr(a.planes[0], b.planes[0]), planePsnr(a.planes[1], b.planes[1]),
            planePsnr(a.planes[2], b.planes[2])};
}

PsnrResult comparePictures(const std::string& a, const std::string& b,
                           const PictureOptions& options) {
    const std::vector<Image> first = decodePictures(a, options);
    PictureOptions second = options;
    if (!first.empty()) {
        second.width = first[0].width;
        second.height = first[0].height;
    }
    const std::vector<Image> other = decodePictures(b, second);
    PsnrResult result;
    result.countA = first.size();
    result.countB = other.size();
    result.mean = {-1, -1, -1};
    const size_t count = std::min(first.size(), other.size());
    if (count == 0) return result;
    Psnr sum;
    for (size_t i = 0; i < count; ++i) {
        const Psnr one = psnr(first[i], other[i]);
        sum = {sum.y + one.y, sum.u + one.u, sum.v + one.v};
        if (i == 0 || one.y < result.lowestY) {
            result.lowestY = one.y;
            result.lowestAt = i;
        }
    }
    const double divisor = static_cast<double>(count);
    result.mean = {sum.y / divisor, sum.u / divisor, sum.v / divisor};
    return result;
}

Colour meanColour(const Image& image, int x, int y, int width, int height) {
    std::array<double, 3> means = {};
    for (int plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        const int left = std::clamp(x >> shift, 0, image.planeWidth(plane));
        const int right = std::clamp((x + width + shift) >> shift, left, image.planeWidth(plane));
        const int top = std::clamp(y >> shift, 0, image.planeHeight(plane));
        const int bottom = std::clamp((y + height + shift) >> shift, top, image.planeHeight(plane));
        double sum = 0;
        for (int row = top; row < bottom; ++row) {
            for (int column = left; column < right; ++column) {
                sum += image.planes[plane][row * image.planeWidth(plane) + column];
            }
        }
        const int count = (right - left) * (bottom - top);
        means[plane] = count > 0 ? sum / count : 0;
    }
    return {means[0], means[1], means[2]};
}

}  // namespace oxa::test
