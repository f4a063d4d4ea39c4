// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/Deadline.h"

#include <iostream>
#include <thread>

namespace oxa::test {

bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds timeout) {
    const Deadline deadline(timeout);
    while (!condition()) {
        if (deadline.passed()) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

std::string missedEachTime(const std::function<std::string()>& measure) {
    constexpr int kTries = 4;
    std::string missed = measure();
    for (int i = 1; i < kTries && !missed.empty(); ++i) {
        std::cout << missed << "; once more\n";
        missed = measure();
    }
    return missed;
}

}  // namespace oxa::test
