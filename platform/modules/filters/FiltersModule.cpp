// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "modules/filters/FiltersModule.h"

#include "modules/filters/FilterGraph.h"
#include "modules/filters/GraphInput.h"

namespace android {

extern "C" const FiltersModule oxaModule = {FilterGraph::open, openGraphInput};

}  // namespace android
