// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>

namespace oxa::jobs {

// How far a job is. Times are in seconds.
struct Progress {
    double timeSec = 0;                    // of the source: done, recorded or played
    std::optional<double> totalSec;        // of it, where the length is known
    double elapsedSec = 0;                 // since the job's start
    int64_t pictures = 0;                  // written, or shown
    std::optional<int64_t> totalPictures;  // of a contact sheet
    std::optional<int64_t> bytes;          // written; not known of a stream
    double picturesPerSecond = 0;          // over the last seconds
    double speed = 0;                      // against real time, over the last seconds
    std::optional<double> percent;         // where the length is known
    std::optional<double> secondsLeft;     // where the length is known and something moves
    int64_t dropped = 0;    // pictures that were lost: recorded too slowly, or shown too late
    int64_t thinned = 0;    // pictures of a live source that the frame rate has no room for
    bool standsBy = false;  // a recording that is switched off now
    std::optional<double> soundLevelDb;  // peak of a live source's sound, 0 is full scale
};

}  // namespace oxa::jobs
