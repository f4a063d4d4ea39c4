// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace oxa::test {

// A point in time after which a test gives up. Limits are generous: they turn a hang into a failure
// and say nothing about speed.
class Deadline {
  public:
    static constexpr std::chrono::milliseconds kDefault{30000};

    explicit Deadline(std::chrono::milliseconds timeout = kDefault)
        : mEnd(std::chrono::steady_clock::now() + timeout) {}

    bool passed() const { return std::chrono::steady_clock::now() >= mEnd; }
    // For std::condition_variable::wait_until.
    std::chrono::steady_clock::time_point end() const { return mEnd; }

  private:
    std::chrono::steady_clock::time_point mEnd;
};

// Asks `condition` every millisecond until it is true; false when the time is over before.
bool waitFor(const std::function<bool()>& condition,
             std::chrono::milliseconds timeout = Deadline::kDefault);

// For what real time decides. A machine that stood still spoils a measurement once, a fault of what
// is measured spoils it each time: `measure`, which returns what it missed, is made again while it
// missed something. Returns what the last one missed; empty: nothing.
std::string missedEachTime(const std::function<std::string()>& measure);

}  // namespace oxa::test
