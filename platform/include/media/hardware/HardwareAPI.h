// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/hardware/MetadataBufferType.h>

struct ANativeWindowBuffer;
struct native_handle;
typedef struct native_handle native_handle_t;

namespace android {

// What a buffer of recorded video holds instead of pixels. The picture is valid as long as the
// buffer is not given back.
struct VideoNativeMetadata {
    MetadataBufferType eType;  // kMetadataBufferTypeANWBuffer
    ANativeWindowBuffer* pBuffer;
    int nFenceFd;  // -1: the pixels are complete
};

struct VideoNativeHandleMetadata {
    MetadataBufferType eType;  // kMetadataBufferTypeNativeHandleSource
    native_handle_t* pHandle;
};

}  // namespace android
