// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <string>

#include "ffmpeg/PictureFilter.h"

namespace android {

// Filters for pictures, in a module.
struct PictureFilterModule {
    static constexpr char kModule[] = "filters";
    static constexpr char kName[] = "oxaPictureFilters";

    // A chain of filters in libavfilter's words, for pictures like `frame`; 0 or an AVERROR.
    int (*openFilters)(const std::string& chain, const AVFrame& frame, AVRational timeBase,
                       std::unique_ptr<PictureFilter>* filter);
};

}  // namespace android
