// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/InputDescription.h>

#include <cstdint>
#include <vector>

extern "C" {
#include <libavformat/avformat.h>
}

namespace android {

// `tracks` are the numbers of the streams that are listed, in the list's order; times count from
// `startUs` of the file's clock.
oxa::host::InputDescription describeFile(const AVFormatContext& context,
                                         const std::vector<unsigned>& tracks, int64_t startUs);

}  // namespace android
