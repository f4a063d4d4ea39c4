// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/FaultListener.h>

#include <mutex>
#include <vector>

namespace oxa::test {

// The faults that are reported while it lives.
class FaultCollector {
  public:
    FaultCollector() {
        mId = host::addFaultListener([this](const host::Fault& fault) {
            std::lock_guard<std::mutex> lock(mLock);
            mFaults.push_back(fault);
        });
    }
    ~FaultCollector() { host::removeFaultListener(mId); }
    FaultCollector(const FaultCollector&) = delete;
    FaultCollector& operator=(const FaultCollector&) = delete;

    std::vector<host::Fault> faults() const {
        std::lock_guard<std::mutex> lock(mLock);
        return mFaults;
    }

  private:
    int mId;
    mutable std::mutex mLock;
    std::vector<host::Fault> mFaults;  // guarded by mLock
};

}  // namespace oxa::test
