// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "Events.h"

namespace oxaplayer {

// How far a job is at one moment.
struct ProgressSample {
    int64_t nowUs = 0;             // monotonic clock
    int64_t mediaTimeUs = 0;       // end of what was written
    int64_t frames = 0;            // pictures written
    std::optional<int64_t> bytes;  // not known of a stream
};

// What is shown of it.
struct ProgressNumbers {
    double timeSec = 0;
    double elapsedSec = 0;
    int64_t frames = 0;
    std::optional<int64_t> bytes;
    double framesPerSecond = 0;         // over the last seconds
    double speed = 0;                   // against real time, over the last seconds
    std::optional<double> percent;      // where the length is known
    std::optional<double> secondsLeft;  // where the length is known and something moves
};

// Turns samples into numbers. Rates are those of the last few seconds, so that they follow the
// material; before that, and in `overall`, those of the whole job.
class ProgressMeter {
  public:
    // `durationUs` is the length of the source, not positive where unknown.
    ProgressMeter(int64_t startUs, int64_t durationUs);

    ProgressNumbers add(const ProgressSample& sample);
    // The same, with rates over the whole job.
    ProgressNumbers overall(const ProgressSample& sample) const;

  private:
    ProgressNumbers since(const ProgressSample& earlier, const ProgressSample& sample) const;

    const ProgressSample mStart;
    const int64_t mDurationUs;
    std::deque<ProgressSample> mRecent;
};

// "12 %  1.53x  45.9 fps  0:42 left  3.4 MB" behind a bar that fills `columns`.
std::string formatProgressBar(const ProgressNumbers& numbers, int columns, bool colour);
// The same as a plain line.
std::string formatProgressLine(const ProgressNumbers& numbers);
Json progressFields(const ProgressNumbers& numbers);

std::string formatBytes(int64_t bytes);   // 812 kB
std::string formatClock(double seconds);  // 1:02:03, 0:42

}  // namespace oxaplayer
