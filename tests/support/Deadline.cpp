// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/Deadline.h"

#include <algorithm>
#include <thread>

namespace oxa::test {

std::chrono::milliseconds Deadline::remaining() const {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            mEnd - std::chrono::steady_clock::now());
    return std::max(left, std::chrono::milliseconds(0));
}

bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds timeout) {
    const Deadline deadline(timeout);
    while (!condition()) {
        if (deadline.passed()) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace oxa::test
