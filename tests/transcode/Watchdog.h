// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace oxa::test {

// Ends the program with a message when what it watches over has not come to its end in time: a call
// that never returns cannot be made to fail in any other way.
class Watchdog {
  public:
    Watchdog(std::string what, std::chrono::seconds limit);
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

  private:
    void watch();

    const std::string mWhat;
    const std::chrono::steady_clock::time_point mEnd;
    std::mutex mLock;
    std::condition_variable mDone;
    bool mOver = false;
    std::thread mThread;
};

}  // namespace oxa::test
