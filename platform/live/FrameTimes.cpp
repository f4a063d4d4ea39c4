// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "live/FrameTimes.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace android {

namespace {

int64_t durationUs(const AVFrame& frame, double picturesPerSecond) {
    if (frame.sample_rate > 0) return frame.nb_samples * INT64_C(1000000) / frame.sample_rate;
    return picturesPerSecond > 0 ? static_cast<int64_t>(1e6 / picturesPerSecond) : 0;
}

}  // namespace

int64_t FrameTimes::next(const AVFrame& frame, int64_t timeUs, double picturesPerSecond) {
    if (timeUs == AV_NOPTS_VALUE) timeUs = mEndUs;
    mEndUs = timeUs + durationUs(frame, picturesPerSecond);
    return timeUs;
}

}  // namespace android
