// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>

extern "C" {
#include <libavformat/avformat.h>
}

namespace android {

// Fills in what the container's header leaves open about its streams, by reading (and decoding)
// the first packets only where that is needed. Returns 0 or an AVERROR.
int completeStreamInfo(AVFormatContext* context);

// The file's first time in microseconds: what the times of all its tracks count from.
int64_t fileStartUs(const AVFormatContext& context);

// Pictures a second, 0 when it is not known.
double frameRateOf(const AVStream& stream);

}  // namespace android
