// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/Errors.h>

namespace android {

// Status values of the media classes, besides those of <utils/Errors.h>.
enum {
    MEDIA_ERROR_BASE = -1000,
    DRM_ERROR_BASE = -2000,

    ERROR_IO = MEDIA_ERROR_BASE - 4,
    ERROR_MALFORMED = MEDIA_ERROR_BASE - 7,
    ERROR_OUT_OF_RANGE = MEDIA_ERROR_BASE - 8,
    ERROR_BUFFER_TOO_SMALL = MEDIA_ERROR_BASE - 9,
    ERROR_UNSUPPORTED = MEDIA_ERROR_BASE - 10,
    ERROR_END_OF_STREAM = MEDIA_ERROR_BASE - 11,

    // Not errors.
    INFO_FORMAT_CHANGED = MEDIA_ERROR_BASE - 12,
    INFO_DISCONTINUITY = MEDIA_ERROR_BASE - 13,
    INFO_OUTPUT_BUFFERS_CHANGED = MEDIA_ERROR_BASE - 14,

    ERROR_DRM_CANNOT_HANDLE = DRM_ERROR_BASE - 6,
};

// What can be done after a codec's error: nothing, try again later, or stop and configure again.
enum ActionCode {
    ACTION_CODE_FATAL = 0,
    ACTION_CODE_TRANSIENT = 1,
    ACTION_CODE_RECOVERABLE = 2,
};

}  // namespace android
