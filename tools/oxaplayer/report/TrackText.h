// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/jobs/LeftBehind.h>
#include <oxa/jobs/Track.h>

#include <string>

#include "report/Events.h"
#include "report/ExitCode.h"

namespace oxaplayer {

Json trackFields(const Track& track);
// "960x540, 30 fps"
std::string trackDetails(const Track& track);
// The same and what else the file says of it.
std::string allTrackDetails(const Track& track);
// "h264 High"
std::string codecText(const Track& track);
// "video/avc 960x540, 30 fps"
std::string describeTrack(const Track& track);

// "1 picture, 2 subtitles, album"
std::string leftBehindText(const LeftBehind& left);

}  // namespace oxaplayer
