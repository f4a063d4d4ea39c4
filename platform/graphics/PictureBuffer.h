// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "graphics/Picture.h"

// What a VideoNativeMetadata refers to. Whoever gave the record away keeps it.
struct ANativeWindowBuffer {
    android::sp<android::Picture> picture;
};
