// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ctime>
#include <functional>
#include <optional>
#include <set>
#include <string>

#include "oxa/jobs/Result.h"

namespace oxa::jobs {

// The names of a recording's files, one after the other. strftime's conversions in the pattern are
// filled in with the local time at which a file begins; without any, the files of a recording that
// has several are numbered: "cam-001.mp4". None is used twice.
class FileNames {
  public:
    // Whether a name is not to be used, since something else has it.
    using IsTaken = std::function<bool(const std::string& name)>;

    // Nothing, or what is wrong with the pattern (kOptions).
    static std::optional<Failure> check(const std::string& pattern);

    FileNames(std::string pattern, bool hasSeveral)
        : mPattern(std::move(pattern)), mHasSeveral(hasSeveral) {}

    // The first one's opener judges what has that name.
    std::string first(time_t now);
    std::string next(time_t now, const IsTaken& isTaken);

  private:
    bool isNumbered() const;
    std::string nameAt(time_t now) const;

    const std::string mPattern;
    const bool mHasSeveral;
    int mNumber = 0;  // of the file that was named last
    std::set<std::string> mUsed;
};

}  // namespace oxa::jobs
