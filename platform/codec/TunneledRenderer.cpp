// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "codec/TunneledRenderer.h"

#include <algorithm>

#include "base/Monotonic.h"

namespace android {

namespace {

constexpr int64_t kMaxLateUs = 30000;
constexpr int64_t kMinWaitUs = 500;
constexpr int64_t kClockPollUs = 10000;

}  // namespace

bool TunneledRenderer::render(const sp<PictureQueue>& queue, const sp<Picture>& picture) {
    int64_t lateUs = 0;
    if (!waitForTurn(picture->mediaTimeUs(), &lateUs)) return false;
    if (lateUs > kMaxLateUs) {
        queue->cancelReservation();
    } else {
        queue->queue(picture, monotonicUs() * 1000);
    }
    return true;
}

bool TunneledRenderer::waitForTurn(int64_t timeUs, int64_t* lateUs) {
    for (;;) {
        const int64_t nowUs = monotonicUs();
        const int64_t mediaTimeUs = mClock->mediaTimeUs(nowUs, timeUs);
        const bool running = mediaTimeUs != SessionClock::kNotRunning;
        if (running && mediaTimeUs >= timeUs) {
            *lateUs = mediaTimeUs - timeUs;
            return mSleep(nowUs);
        }
        // While the clock catches up with the sound it runs up to twice as fast.
        const int64_t waitUs = running ? (timeUs - mediaTimeUs) / 2 : kClockPollUs;
        if (!mSleep(nowUs + std::clamp(waitUs, kMinWaitUs, kClockPollUs))) return false;
    }
}

}  // namespace android
