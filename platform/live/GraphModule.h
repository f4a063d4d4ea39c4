// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <string>

#include "live/LiveInput.h"

namespace android {

// Filter graphs that make pictures and sound, in a module.
struct GraphModule {
    static constexpr char kModule[] = "filters";
    static constexpr char kName[] = "oxaGraphs";

    // Null, with the reason in `error`.
    std::unique_ptr<LiveInput> (*openInput)(const LiveSource& source, const LiveOptions& options,
                                            std::string* error);
};

}  // namespace android
