// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "run/FaultWarnings.h"

namespace oxa::jobs {

using host::FaultSource;

std::optional<Failure> failureBy(const host::Fault& fault, const std::string& input,
                                 const std::string& output) {
    const bool damaged = fault.source == FaultSource::kReader && fault.error == 0;
    if (!fault.ended || damaged) return std::nullopt;
    if (fault.source == FaultSource::kWriter) {
        return Failure{FailureKind::kOutput, "cannot write '" + output + "': " + fault.cause};
    }
    if (fault.source == FaultSource::kReader) {
        return Failure{FailureKind::kInput, "cannot read '" + input + "': " + fault.cause};
    }
    return Failure{FailureKind::kFailed, fault.object + ": " + fault.cause};
}

void FaultWarnings::add(const host::Fault& fault) {
    uint64_t& count = mCounts[{fault.object, fault.cause}];
    if (count == 0) mWarn(fault.object + ": " + fault.cause);
    if (fault.count <= count) return;
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
