// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "Display"

#include <oxa/host/Display.h>

#include "graphics/NullDisplay.h"
#include "graphics/PngDisplay.h"
#include "graphics/RecordingDisplayImpl.h"
#include "graphics/WindowDisplay.h"

namespace oxa::host {

std::string displayError() {
    const android::SdlDisplayThread::User thread;
    return thread->error();
}

std::unique_ptr<Display> createWindowDisplay(const WindowOptions& options, std::string* error) {
    auto display = std::make_unique<android::WindowDisplay>(options);
    const std::string reason = display->error();
    if (error != nullptr) *error = reason;
    if (!reason.empty()) return nullptr;
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
