// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "oxa/jobs/Progress.h"

namespace oxa::jobs {

// How far a job is at one moment.
struct ProgressSample {
    int64_t nowUs = 0;             // monotonic clock
    int64_t mediaTimeUs = 0;       // end of what was written
    int64_t pictures = 0;          // written
    std::optional<int64_t> bytes;  // not known of a stream
};

// Turns samples into numbers. Rates are those of the last few seconds, so that they follow the
// material; before that, and in `overall`, those of the whole job.
class ProgressMeter {
  public:
    // `durationUs` is the length of the source, not positive where unknown.
    ProgressMeter(int64_t startUs, int64_t durationUs);
    // The same, where something is done already.
    ProgressMeter(const ProgressSample& start, int64_t durationUs);

    Progress add(const ProgressSample& sample);
    // The same, with rates over the whole job.
    Progress overall(const ProgressSample& sample) const;

  private:
    Progress since(const ProgressSample& earlier, const ProgressSample& sample) const;

    const ProgressSample mStart;
    const int64_t mDurationUs;
    std::deque<ProgressSample> mRecent;
};

}  // namespace oxa::jobs
