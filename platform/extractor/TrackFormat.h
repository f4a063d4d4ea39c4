// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/AMessage.h>

extern "C" {
#include <libavformat/avformat.h>
}

namespace android {

// Whether a stream is a track for clients: sound or moving pictures that can be decoded.
bool isPlayable(const AVStream& stream);

// The items that NuMediaExtractor::getTrackFormat promises.
sp<AMessage> makeTrackFormat(const AVFormatContext& context, const AVStream& stream);

}  // namespace android
