// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace android {

// Where a service calls its clients back: one thread, one call after the other. Thread-safe.
class EventThread {
  public:
    EventThread();
    // Makes the calls that were posted, and waits for them. Not on the thread itself.
    ~EventThread();

    void post(std::function<void()> call);

  private:
    void run();

    std::mutex mLock;
    std::condition_variable mChanged;
    std::deque<std::function<void()>> mCalls;  // guarded by mLock
    bool mQuit = false;                        // guarded by mLock
    std::thread mThread;
};

}  // namespace android
