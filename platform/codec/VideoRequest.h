// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/AMessage.h>
#include <media/stagefright/foundation/AString.h>

#include <cstddef>
#include <cstdint>

#include "ffmpeg/PictureConversion.h"
#include "ffmpeg/TrackParameters.h"

namespace android {

// What the format with which a video decoder is configured tells of the stream, and asks of the
// pictures.
struct VideoRequest {
    static constexpr size_t kMinInputCapacity = size_t{1024} * 1024;

    sp<TrackParameters> track;
    size_t inputCapacity = kMinInputCapacity;
    Conversion conversion;
    bool sizeAsked = false;     // then samples are taken to be square
    int64_t frameDuration = 0;  // by the frame rate, in the stream's time base; 0: not known
    bool tunneled = false;
    int32_t hwSync = 0;  // of tunneled playback
};

// BAD_VALUE for a format that does not tell enough, or of which libavcodec has no decoder.
status_t readVideoRequest(const AString& mime, const sp<AMessage>& format, VideoRequest* request);

}  // namespace android
