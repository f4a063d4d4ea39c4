// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "run/FaultWarnings.h"

namespace oxa::jobs {

void FaultWarnings::add(const host::Fault& fault) {
    uint64_t& count = mCounts[{fault.object, fault.cause}];
    if (count == 0) mWarn(fault.object + ": " + fault.cause);
    if (fault.count <= count) return;
    using host::FaultSource;
    if (fault.source == FaultSource::kReader || fault.source == FaultSource::kDecoder) {
        mDamaged += fault.count - count;
    }
    count = fault.count;
}

void FaultWarnings::summarize() {
    for (const auto& [fault, count] : mCounts) {
        if (count > 1) {
            mWarn(fault.first + ": " + fault.second + " (" + std::to_string(count) + " times)");
        }
    }
    mCounts.clear();
}

}  // namespace oxa::jobs
