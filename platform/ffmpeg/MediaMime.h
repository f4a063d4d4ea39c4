// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

extern "C" {
#include <libavcodec/codec_par.h>
}

namespace android {

// The MIME type of a track. A codec that has no type of its own gets "video/x-NAME" or
// "audio/x-NAME" with libavcodec's name for it.
std::string mimeForCodec(const AVCodecParameters& parameters);

}  // namespace android
