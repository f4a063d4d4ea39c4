// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

namespace oxaplayer {

// The word that was probably meant: the one with the fewest slips of a finger in between, or one
// that holds what was typed ("bitrate" in "video-bitrate"). Empty when none is near.
std::string nearestWord(const std::string& typed, const std::vector<std::string>& words);

}  // namespace oxaplayer
