// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/FaultListener.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "oxa/jobs/Result.h"

namespace oxa::jobs {

// How a fault ends a job that reads `input` and writes `output`; nothing when it is but a warning.
// Data that makes no sense any more ends a file as well, but what came before it is good.
std::optional<Failure> failureBy(const host::Fault& fault, const std::string& input,
                                 const std::string& output);

// Turns faults that do not end a job into warnings: the first of a kind at once, and at the end how
// often it happened. Not thread-safe.
class FaultWarnings {
  public:
    using Warn = std::function<void(const std::string& text)>;

    explicit FaultWarnings(Warn warn) : mWarn(std::move(warn)) {}

    void add(const host::Fault& fault);
    // The counts of all faults that came more than once.
    void summarize();
    // How much of the input was damaged, of all kinds.
    uint64_t damaged() const { return mDamaged; }

  private:
    const Warn mWarn;
    std::map<std::pair<std::string, std::string>, uint64_t> mCounts;  // by object and cause
    uint64_t mDamaged = 0;
};

}  // namespace oxa::jobs
