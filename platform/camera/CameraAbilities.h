// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <camera/CameraParameters.h>

#include <string>
#include <vector>

#include "live/LiveControl.h"

namespace android {

// What a camera can do.
struct CameraAbilities {
    // The first one is what it is set to at first.
    std::vector<Size> previewSizes;
    std::vector<Size> videoSizes;  // the encoder scales what has another size than the preview
    std::vector<int> frameRates;   // rising
    int frameRate = 0;             // what it is set to at first

    CameraParameters parameters() const;
    bool hasPreviewSize(int width, int height) const;
    bool hasVideoSize(int width, int height) const;
};

// Opens the source to ask it, and closes it. False, with the reason in one line and its errno (0:
// none), when there are no pictures in it.
bool askCameraAbilities(const std::string& source, const sp<LiveControl>& control,
                        CameraAbilities* abilities, std::string* cause, int* error);

}  // namespace android
