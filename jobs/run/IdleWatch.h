// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>

#include "run/EventQueue.h"

namespace oxa::jobs {

// For how long a job has not moved. A process that was stopped and goes on later has not been idle
// meanwhile.
class IdleWatch {
  public:
    void moved() { mIdleUs = 0; }
    // To be asked often.
    bool isStalled();

  private:
    int64_t mLastUs = nowUs();
    int64_t mIdleUs = 0;
};

// How often a job looks at its progress.
constexpr int64_t kTickUs = 200'000;
// After how long without any it has failed: 30 seconds, or fewer by OXA_STALL_SECONDS.
int64_t stallSeconds();

}  // namespace oxa::jobs
