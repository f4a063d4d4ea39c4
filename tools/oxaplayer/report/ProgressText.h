// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/jobs/Progress.h>

#include <cstdint>
#include <string>

#include "report/Events.h"
#include "report/ExitCode.h"

namespace oxaplayer {

// "12 %  1.53x  45.9 fps  0:42 left  3.4 MB" behind a bar that fills `columns`.
std::string formatProgressBar(const Progress& progress, int columns, bool colour);
// The same as a plain line.
std::string formatProgressLine(const Progress& progress);
Json progressFields(const Progress& progress);

// "  29.97 fps  2 dropped", the rate with so many decimals once there is one.
std::string rateText(const Progress& progress, int decimals);
std::string formatCount(int64_t count, const std::string& thing);  // 1 picture, 2 pictures
std::string formatBytes(int64_t bytes);                            // 812 kB
std::string formatClock(double seconds);                           // 1:02:03, 0:42

}  // namespace oxaplayer
