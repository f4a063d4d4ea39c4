// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "Display"

#include <oxa/host/Display.h>

#include "base/Module.h"
#include "display/NullDisplay.h"
#include "display/PngDisplay.h"
#include "display/RecordingDisplayImpl.h"
#include "display/WindowModule.h"

namespace oxa::host {

std::string displayError() {
    std::string error;
    const auto* module = android::loadModule<android::WindowModule>(&error);
    return module != nullptr ? module->displayError() : error;
}

std::unique_ptr<Display> createWindowDisplay(const WindowOptions& options, std::string* error) {
    std::string reason;
    const auto* module = android::loadModule<android::WindowModule>(&reason);
    auto display = module != nullptr ? module->createWindow(options, &reason) : nullptr;
    if (error != nullptr) *error = reason;
    return display;
}

std::unique_ptr<Display> createPngDisplay(const std::string& directory) {
    return std::make_unique<android::PngDisplay>(directory);
}

std::unique_ptr<Display> createNullDisplay() {
    return std::make_unique<android::NullDisplay>();
}

std::unique_ptr<RecordingDisplay> createRecordingDisplay(size_t limit) {
    return std::make_unique<android::RecordingDisplayImpl>(limit);
}

}  // namespace oxa::host
