// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "run/EventQueue.h"

#include <chrono>

namespace oxa::jobs {

void EventQueue::push(JobEvent event) {
    {
        android::Mutex::Autolock lock(mLock);
        mEvents.push_back(std::move(event));
    }
    mFilled.signal();
}

std::optional<JobEvent> EventQueue::pop(int64_t deadlineUs) {
    android::Mutex::Autolock lock(mLock);
    while (mEvents.empty()) {
        const int64_t delayUs = deadlineUs - nowUs();
        if (delayUs <= 0) return std::nullopt;
        mFilled.waitRelative(mLock, delayUs * 1000);
    }
    JobEvent event = std::move(mEvents.front());
    mEvents.pop_front();
    return event;
}

int64_t nowUs() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

}  // namespace oxa::jobs
