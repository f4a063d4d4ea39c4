// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "ffmpeg/AvError.h"

extern "C" {
#include <libavutil/error.h>
}

namespace android {

std::string avErrorText(int averror) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(averror, text, sizeof(text));
    return text;
}

}  // namespace android
