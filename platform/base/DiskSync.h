// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <thread>

#include "base/AnnotatedMutex.h"

namespace android {

// Brings a file that grows to the disk about once a second, on a thread of its own, so that a power
// failure takes little of it and nobody who writes waits for the disk.
class DiskSync {
  public:
    // The descriptor stays the caller's and must outlive this.
    explicit DiskSync(int fd);
    ~DiskSync();
    DiskSync(const DiskSync&) = delete;
    DiskSync& operator=(const DiskSync&) = delete;

    // Something was written.
    void wrote();
    // The errno of the first attempt that failed, else 0: the system tells it only once.
    int error() const;

  private:
    void run();

    const int mFd;
    mutable AnnotatedMutex mLock;
    AnnotatedCondition mChanged;
    bool mWrote GUARDED_BY(mLock) = false;
    bool mQuit GUARDED_BY(mLock) = false;
    int mError GUARDED_BY(mLock) = 0;
    std::thread mThread;
};

}  // namespace android
