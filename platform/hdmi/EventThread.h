// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <deque>
#include <functional>
#include <thread>

#include "base/AnnotatedMutex.h"

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

    AnnotatedMutex mLock;
    AnnotatedCondition mChanged;
    std::deque<std::function<void()>> mCalls GUARDED_BY(mLock);
    bool mQuit GUARDED_BY(mLock) = false;
    std::thread mThread;
};

}  // namespace android
