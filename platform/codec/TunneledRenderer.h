// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <utility>

#include "base/SessionClock.h"
#include "graphics/PictureQueue.h"

namespace android {

// Shows pictures by itself when the clock of a session has reached them, and drops those that are
// late. On the worker's thread, while it runs.
class TunneledRenderer {
  public:
    // Waits until a time of the monotonic clock; false, at once, when the component is being
    // stopped.
    using Sleep = std::function<bool(int64_t untilUs)>;

    explicit TunneledRenderer(Sleep sleep) : mSleep(std::move(sleep)) {}

    // `hwSync` is the session's, 0 for a clock of its own.
    void start(int32_t hwSync) { mClock = SessionClock::forHwSync(hwSync); }
    void stop() { mClock.clear(); }
    bool isOn() const { return mClock != nullptr; }

    // The picture gets the place that was reserved for it, at its time, or the place is given back.
    // False when the component is being stopped.
    bool render(const sp<PictureQueue>& queue, const sp<Picture>& picture);

  private:
    bool waitForTurn(int64_t timeUs, int64_t* lateUs);

    const Sleep mSleep;
    sp<SessionClock> mClock;
};

}  // namespace android
