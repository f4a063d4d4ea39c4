// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/Display.h>

#include <memory>
#include <string>

namespace android {

// Windows, in a module. An `error` that stays empty: none.
struct WindowModule {
    static constexpr char kModule[] = "sdl";
    static constexpr char kName[] = "oxaWindows";

    // Null, and why.
    std::unique_ptr<oxa::host::Display> (*createWindow)(const oxa::host::WindowOptions& options,
                                                        std::string* error);
    // Why no window can be shown.
    std::string (*displayError)();
};

}  // namespace android
