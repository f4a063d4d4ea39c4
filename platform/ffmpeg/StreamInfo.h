// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>

extern "C" {
#include <libavformat/avformat.h>
}

namespace android {

// How much is to be known of streams: what decoders and clients need, or also what they only tell
// people.
enum StreamInfoDepth { kStreamInfoToPlay, kAllStreamInfo };

// Fills in what the container's header leaves open about its streams, by reading (and decoding)
// the first packets only where that is needed. Returns 0 or an AVERROR.
int completeStreamInfo(AVFormatContext* context, StreamInfoDepth depth = kStreamInfoToPlay);

// In a transport stream: what its only sound must be by the type that it is announced with, where
// there is too little of it for its data to tell; else AV_CODEC_ID_NONE.
AVCodecID announcedSound(const AVFormatContext& context);

// The file's first time in microseconds, of any stream.
int64_t fileStartUs(const AVFormatContext& context);
// How long the file or its longest stream lasts, in microseconds; 0: not known.
int64_t fileDurationUs(const AVFormatContext& context);

// Whether the header has a list of all samples of sound and pictures, and none of them lasts longer
// than damage makes likely: their times cannot jump.
bool hasSteadyIndex(const AVFormatContext& context);

// Pictures a second, as the file or its pictures tell it; 0 when no rate is told that can be meant.
double frameRateOf(const AVStream& stream);
// The same, but a stream that has no times either has the usual rate.
double trackFrameRateOf(const AVStream& stream);

}  // namespace android
