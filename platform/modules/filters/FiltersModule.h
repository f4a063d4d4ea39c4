// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <string>

#include "codec/PictureFilter.h"
#include "live/LiveInput.h"

namespace android {

// Filter graphs.
struct FiltersModule {
    static constexpr char kName[] = "filters";

    // A chain of filters in libavfilter's words, for pictures like `frame`; 0 or an AVERROR.
    int (*openFilters)(const std::string& chain, const AVFrame& frame, AVRational timeBase,
                       std::unique_ptr<PictureFilter>* filter);
    // A graph without inputs. Null, with the reason in `error`.
    std::unique_ptr<LiveInput> (*openInput)(const LiveSource& source, const LiveOptions& options,
                                            std::string* error);
};

}  // namespace android
