// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace oxa::jobs {

// Tells the kernel that the calling thread, and those that it starts for the object's lifetime,
// are after throughput: a thread that wakes then waits for its turn. Work that hands pictures from
// thread to thread switches half as often so. A thread that was given another policy keeps it.
class BatchScheduling {
  public:
    BatchScheduling();
    ~BatchScheduling();

    BatchScheduling(const BatchScheduling&) = delete;
    BatchScheduling& operator=(const BatchScheduling&) = delete;

  private:
    bool mIsOurs;
};

}  // namespace oxa::jobs
