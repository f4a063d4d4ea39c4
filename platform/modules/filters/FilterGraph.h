// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <string>

#include "ffmpeg/PictureFilter.h"

#include "modules/filters/AvFilterOwner.h"

namespace android {

// A chain of libavfilter's filters.
class FilterGraph : public PictureFilter {
  public:
    static int open(const std::string& chain, const AVFrame& frame, AVRational timeBase,
                    std::unique_ptr<PictureFilter>* filter);
    FilterGraph(const FilterGraph&) = delete;
    FilterGraph& operator=(const FilterGraph&) = delete;

    int push(AVFrame* frame) override;
    int finish(int64_t endPts) override;
    int pull(AVFrame* frame) override;
    AVRational timeBase() const override;

  private:
    FilterGraph();

    int addEnds(const AVFrame& frame, AVRational timeBase);
    int addChain(const std::string& chain);

    AvFilterGraphOwner mGraph;
    AVFilterContext* mSource = nullptr;  // the graph's, like mSink
    AVFilterContext* mSink = nullptr;
};

}  // namespace android
