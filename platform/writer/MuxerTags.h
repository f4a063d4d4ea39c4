// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/OutputTags.h>

extern "C" {
#include <libavformat/avformat.h>
}

namespace android {

// To a muxer that has its streams, before its header is written.
void addMetadata(AVFormatContext* muxer, const oxa::host::OutputTags& tags);

// 0 or an AVERROR. They come with the trailer where they were not there for the header.
int addChapters(AVFormatContext* muxer, const oxa::host::OutputTags& tags);

}  // namespace android
