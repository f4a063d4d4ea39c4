// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "NullDisplay"

#include "display/NullDisplay.h"

namespace android {

NullDisplay::NullDisplay() : mInput("null display") {
    mInput.open([this](const IntakePicture& /*picture*/) {
        mInput.countShown();
        mInput.releasePlace();
    });
}

NullDisplay::~NullDisplay() {
    mInput.close();
}

}  // namespace android
