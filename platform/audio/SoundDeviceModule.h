// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <string>

#include "audio/SoundSink.h"

namespace android {

// Sound devices, in a module. An `error` that stays empty: none.
struct SoundDeviceModule {
    static constexpr char kModule[] = "sdl";
    static constexpr char kName[] = "oxaSoundDevices";

    // The default sound device; null, and why.
    std::unique_ptr<SoundSink> (*openSound)(const SoundFormat& format, SoundSource* source,
                                            std::string* error);
    // Why the default sound device cannot be opened.
    std::string (*soundError)();
};

}  // namespace android
