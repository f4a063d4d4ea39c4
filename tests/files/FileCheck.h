// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "files/FileTable.h"

namespace oxa::test {

// What an expectation missed, one text each, with the expected and the measured value.
using Misses = std::vector<std::string>;

// Transcodes what was made in `folder` to `output` and compares what comes out, or the refusal,
// with what the table says.
Misses missesOf(const DifficultFile& file, const std::string& folder, const std::string& output);

// Compares the output of missesOf() with what the `ffmpeg` command makes of the same input with the
// encoder settings that the player uses: as many pictures and as much sound, in their place, and
// pictures that are not visibly worse.
Misses missesAgainstPeer(const DifficultFile& file, const std::string& folder,
                         const std::string& output);

// Transcodes a file of which nothing else is known into `folder` and compares what comes out with
// the file itself as the `ffmpeg` command decodes it, upright and with square points, and with the
// command's own transcode.
Misses missesOfUnknown(const std::string& path, const std::string& folder);

}  // namespace oxa::test
