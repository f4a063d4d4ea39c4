// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "Display"

#include <oxa/host/Display.h>

#include "graphics/NullDisplay.h"
#include "graphics/RecordingDisplayImpl.h"

namespace oxa::host {

std::unique_ptr<Display> createNullDisplay() {
    return std::make_unique<android::NullDisplay>();
}

std::unique_ptr<RecordingDisplay> createRecordingDisplay(size_t limit) {
    return std::make_unique<android::RecordingDisplayImpl>(limit);
}

}  // namespace oxa::host
