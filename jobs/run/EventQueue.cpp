// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "run/EventQueue.h"

#include <chrono>

namespace oxa::jobs {

void EventQueue::push(JobEvent event) {
    {
        std::lock_guard<std::mutex> lock(mLock);
        mEvents.push_back(std::move(event));
    }
    mFilled.notify_one();
}

std::optional<JobEvent> EventQueue::pop(int64_t deadlineUs) {
    const std::chrono::steady_clock::time_point deadline{std::chrono::microseconds(deadlineUs)};
    std::unique_lock<std::mutex> lock(mLock);
    if (!mFilled.wait_until(lock, deadline, [this] { return !mEvents.empty(); })) {
        return std::nullopt;
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
