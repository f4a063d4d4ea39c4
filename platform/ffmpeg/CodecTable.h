// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

extern "C" {
#include <libavcodec/codec_par.h>
}

namespace android {

// One kind of stream, by its names on both sides.
struct CodecRow {
    const char* mime;
    AVCodecID codec;
    AVMediaType kind;
    int samplesPerFrame;  // of sound; 0: not the same for all, or pictures
};

// All that have a MIME type. A type or codec with several names stands first under its usual one.
const std::vector<CodecRow>& codecTable();

// Null when it has no row. MIME types are compared without case.
const CodecRow* findCodec(const char* mime);

// A codec without a row goes by "video/x-NAME" or "audio/x-NAME", with libavcodec's name for it.
std::string mimeForCodec(const AVCodecParameters& parameters);
// The reverse; AV_CODEC_ID_NONE for a type that is neither.
AVCodecID codecForMime(const char* mime);

}  // namespace android
