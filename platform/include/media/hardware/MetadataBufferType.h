// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace android {
extern "C" {

// What a record that stands for a picture refers to.
typedef enum {
    kMetadataBufferTypeCameraSource = 0,
    kMetadataBufferTypeGrallocSource = 1,
    kMetadataBufferTypeANWBuffer = 2,
    kMetadataBufferTypeNativeHandleSource = 3,
    kMetadataBufferTypeInvalid = -1,
} MetadataBufferType;

}  // extern "C"
}  // namespace android
