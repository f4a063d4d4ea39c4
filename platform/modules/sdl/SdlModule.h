// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/Display.h>

#include <memory>
#include <string>

#include "audio/SoundSink.h"

namespace android {

// Windows and sound devices. An `error` that stays empty: none.
struct SdlModule {
    static constexpr char kName[] = "sdl";

    // Null, and why.
    std::unique_ptr<oxa::host::Display> (*createWindow)(const oxa::host::WindowOptions& options,
                                                        std::string* error);
    // Why no window can be shown.
    std::string (*displayError)();
    // The default sound device; null, and why.
    std::unique_ptr<SoundSink> (*openSound)(const SoundFormat& format, SoundSource* source,
                                            std::string* error);
    // Why the default sound device cannot be opened.
    std::string (*soundError)();
};

}  // namespace android
