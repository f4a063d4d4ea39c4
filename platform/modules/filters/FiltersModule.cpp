// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "ffmpeg/PictureFilterModule.h"
#include "live/GraphModule.h"
#include "modules/filters/FilterGraph.h"
#include "modules/filters/GraphInput.h"

namespace android {

extern "C" const PictureFilterModule oxaPictureFilters = {FilterGraph::open};
extern "C" const GraphModule oxaGraphs = {openGraphInput};

}  // namespace android
