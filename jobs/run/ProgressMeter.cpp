// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "run/ProgressMeter.h"

#include <algorithm>

namespace oxa::jobs {

namespace {

constexpr int64_t kWindowUs = 3'000'000;

}  // namespace

ProgressMeter::ProgressMeter(int64_t startUs, int64_t durationUs)
    : ProgressMeter({startUs, 0, 0, std::nullopt}, durationUs) {}

ProgressMeter::ProgressMeter(const ProgressSample& start, int64_t durationUs)
    : mStart(start), mDurationUs(durationUs), mRecent{mStart} {}

Progress ProgressMeter::add(const ProgressSample& sample) {
    mRecent.push_back(sample);
    while (mRecent.size() > 2 && sample.nowUs - mRecent[1].nowUs >= kWindowUs)
        mRecent.pop_front();
    return since(mRecent.front(), sample);
}

Progress ProgressMeter::overall(const ProgressSample& sample) const {
    return since(mStart, sample);
}

Progress ProgressMeter::since(const ProgressSample& earlier, const ProgressSample& sample) const {
    Progress progress;
    progress.timeSec = sample.mediaTimeUs / 1e6;
    progress.elapsedSec = (sample.nowUs - mStart.nowUs) / 1e6;
    progress.pictures = sample.pictures;
    progress.bytes = sample.bytes;
    const double spanSec = (sample.nowUs - earlier.nowUs) / 1e6;
    if (spanSec > 0) {
        progress.picturesPerSecond = (sample.pictures - earlier.pictures) / spanSec;
        progress.speed = (sample.mediaTimeUs - earlier.mediaTimeUs) / 1e6 / spanSec;
    }
    if (mDurationUs > 0) {
        const double done = std::min(1.0, static_cast<double>(sample.mediaTimeUs) / mDurationUs);
        progress.totalSec = mDurationUs / 1e6;
        progress.percent = 100 * done;
        if (progress.speed > 0) {
            progress.secondsLeft = (1 - done) * mDurationUs / 1e6 / progress.speed;
        }
    }
    return progress;
}

}  // namespace oxa::jobs
