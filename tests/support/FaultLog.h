// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/FaultListener.h>

#include <mutex>
#include <vector>

namespace oxa::test {

// Collects the faults that are reported while it lives.
class FaultLog {
  public:
    FaultLog()
        : mId(oxa::host::addFaultListener([this](const oxa::host::Fault& fault) {
              std::lock_guard<std::mutex> lock(mLock);
              mFaults.push_back(fault);
          })) {}
    ~FaultLog() { oxa::host::removeFaultListener(mId); }
    FaultLog(const FaultLog&) = delete;
    FaultLog& operator=(const FaultLog&) = delete;

    std::vector<oxa::host::Fault> faults() const {
        std::lock_guard<std::mutex> lock(mLock);
        return mFaults;
    }

  private:
    mutable std::mutex mLock;
    std::vector<oxa::host::Fault> mFaults;  // guarded by mLock
    const int mId;
};

}  // namespace oxa::test
