// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "oxa/jobs/Transcode.h"

namespace oxa::jobs {

// Each of these reads one value as people write it; nothing when the text is not exactly such a
// value or outside what can be encoded. Any thread.

std::optional<int32_t> parseWholeNumber(const std::string& text, int32_t lowest, int32_t highest);
std::optional<Size> parseSize(const std::string& text);             // 640x360, 720p
std::optional<PictureFrame> parseMaxSize(const std::string& text);  // the same, odd sides too
// In microseconds: 90, 0.25, 1:30, 1:02:03.5, 90s, 10m, 1h.
std::optional<int64_t> parseTime(const std::string& text);

}  // namespace oxa::jobs
