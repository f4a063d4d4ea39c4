// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "extractor/InputWindow.h"

#include <string.h>

#include <algorithm>
#include <iterator>

#include "ffmpeg/MediaLimits.h"

namespace android {

namespace {

// More pictures no codec reorders.
constexpr int kMostReordered = 16;

}  // namespace

InputWindow::InputWindow(const oxa::host::InputChoice& choice)
    : mStartUs(std::clamp<int64_t>(choice.startUs, 0, limits::kMaxTimeUs)),
      mEndUs(INT64_MAX),
      mHasEnd(choice.endUs.has_value()) {
    if (mHasEnd) {
        mEndUs = std::clamp<int64_t>(*choice.endUs, mStartUs, limits::kMaxTimeUs) - mStartUs;
    }
}

bool InputWindow::isSoughtIn(const AVFormatContext& context) const {
    static constexpr const char* kExact[] = {"mov,", "matroska", "mpegts", "avi", "flv"};
    return mStartUs > 0 && std::any_of(std::begin(kExact), std::end(kExact), [&](const char* name) {
               return strncmp(context.iformat->name, name, strlen(name)) == 0;
           });
}

int64_t InputWindow::lengthOf(int64_t durationUs) const {
    return std::max<int64_t>(0, std::min(durationUs - mStartUs, mEndUs));
}

bool WindowEnd::passes(const InputWindow& window, int64_t timeUs, std::optional<int64_t> decodedUs,
                       bool isPicture) {
    mLateSamples = timeUs >= window.endUs() ? mLateSamples + 1 : 0;
    if (!isPicture) return mLateSamples > 0;
    return mLateSamples > (decodedUs >= window.endUs() ? 1 : kMostReordered);
}

}  // namespace android
