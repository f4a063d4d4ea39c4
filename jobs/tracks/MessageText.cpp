// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "tracks/MessageText.h"

#include <media/stagefright/MediaErrors.h>

#include <cstdio>
#include <cstring>

namespace oxa::jobs {

std::string statusText(android::status_t status) {
    switch (status) {
        case android::ERROR_UNSUPPORTED:
            return "Not a media file of a known kind";
        case android::ERROR_MALFORMED:
            return "The file is damaged";
        case android::ERROR_IO:
            return "It cannot be read";
        case android::ERROR_DRM_CANNOT_HANDLE:
            return "It is encrypted";
        default:
            break;
    }
    if (status < 0 && status > android::MEDIA_ERROR_BASE) return strerror(-status);
    return "Error " + std::to_string(status);
}

std::string secondsText(int64_t us) {
    char text[32];
    snprintf(text, sizeof(text), "%.3f s", us / 1e6);
    return text;
}

}  // namespace oxa::jobs
