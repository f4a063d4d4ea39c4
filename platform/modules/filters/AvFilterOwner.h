// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "ffmpeg/AvOwner.h"

extern "C" {
#include <libavfilter/avfilter.h>
}

namespace android {

using AvFilterGraphOwner = AvOwner<AVFilterGraph, avfilter_graph_free>;
using AvFilterEndsOwner = AvOwner<AVFilterInOut, avfilter_inout_free>;

}  // namespace android
